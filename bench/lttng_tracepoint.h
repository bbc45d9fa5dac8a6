// A trace point of LTTng-UST, for the benchmark of marks that nobody listens to. Its macros are
// LTTng's way to declare one: its own headers include this file again and again.
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER oru_bench

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "bench/lttng_tracepoint.h"

#if !defined(BENCH_LTTNG_TRACEPOINT_H_) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define BENCH_LTTNG_TRACEPOINT_H_

#include <lttng/tracepoint.h>

LTTNG_UST_TRACEPOINT_EVENT(oru_bench, begin, LTTNG_UST_TP_ARGS(), LTTNG_UST_TP_FIELDS())
LTTNG_UST_TRACEPOINT_EVENT(oru_bench, end, LTTNG_UST_TP_ARGS(), LTTNG_UST_TP_FIELDS())

#endif  // BENCH_LTTNG_TRACEPOINT_H_

#include <lttng/tracepoint-event.h>

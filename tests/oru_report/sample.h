// Reports made up for the tests.
#ifndef TESTS_ORU_REPORT_SAMPLE_H_
#define TESTS_ORU_REPORT_SAMPLE_H_

namespace oru_report_test {

constexpr char kSignalReport[] =
    "Harware Model:     x86_64\n"
    "Process:           host\n"
    "Path:              /tmp/crashes/\n"
    "Code Type:         x86_64\n"
    "Date/Time:         2024-03-05 07:08:09 123\n"
    "Crash Thread:      101\n"
    "\n"
    "Crash Thread Backtrace:\n"
    "/opt/app/host(+0x1234) [0x401234]\n"
    "/opt/app/libOruRTCEngine.so(_ZN6OruRTC6Engine4joinEi+0x1c) [0x7f0000001010]\n"
    "/lib/libc.so.6(__libc_start_main+0x85) [0x7f1000000085]\n"
    "\n"
    "All Thread Backtrace:\n"
    "Thread 100 main:\n"
    "libc.so.6                       0x7f1000000010 __poll + 16\n"
    "host                            0x00401300 main + 64\n"
    "\n"
    "Fail to get information about thread: 102Thread 101 worker <1>:\n"
    "libOruRTCEngine.so              0x7f0000001010 _ZN6OruRTC6Engine4joinEi + 28\n"
    "0x0000000000000000              0x00000042 0x0 + 66\n"
    "\n"
    "\n"
    "Binary Images:\n"
    "          0x400000 -           0x4fffff  host arm64  <0123456789abcdef0123456789abcdef> "
    "/opt/app/host\n"
    "    0x7f0000000000 -     0x7f000000ffff  libOruRTCEngine.so arm64  "
    "<fedcba9876543210fedcba9876543210> /opt/app/libOruRTCEngine.so\n"
    "    0x7f1000000000 -     0x7f10000fffff  my lib.so arm64  <00000000000000000000000000000000> "
    "/lib/my lib.so\n"
    "\n"
    "UserCustomInfo:\n"
    "build=7\nBinary Images:\n<b>bold</b>\n";

constexpr char kExceptionReport[] =
    "Harware Model:     x86_64\n"
    "Crash Thread:      -5\n"
    "\n"
    "Application Specific Information:\n"
    "*** Terminating app due to uncaught exception 'Range', reason: 'beyond\nthe end'\n"
    "\n"
    "Crash Thread Backtrace:\n"
    "3   OruRTCSdk                           0x0000000102345678 -[Engine join:] + 44\n"
    "\n"
    "All Thread Backtrace:\n"
    "Thread 4294967291 :\n"
    "OruRTCSdk                       0x102345678 -[Engine join:] + 44\n"
    "\n"
    "\n"
    "Binary Images:\n"
    "\n"
    "UserCustomInfo:\n"
    "\n";

}  // namespace oru_report_test

#endif  // TESTS_ORU_REPORT_SAMPLE_H_

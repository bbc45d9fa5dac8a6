#include "tests/mach_double/failures.h"

#include <array>
#include <mutex>

namespace mach_double {
namespace {

struct Plan {
  enum { kNone, kOnce, kAlways } when = kNone;
  int code = 0;
  int skip = 0;
  int calls = 0;
};

std::mutex plans_mutex;

Plan& PlanOf(Call call) {
  static std::array<Plan, static_cast<size_t>(Call::kCount)> plans;
  return plans.at(static_cast<size_t>(call));
}

}  // namespace

std::optional<int> FailureOf(Call call) {
  const std::lock_guard<std::mutex> lock(plans_mutex);
  Plan& plan = PlanOf(call);
  ++plan.calls;
  if (plan.when == Plan::kNone) return std::nullopt;
  if (plan.when == Plan::kAlways) return plan.code;
  if (plan.skip > 0) {
    --plan.skip;
    return std::nullopt;
  }
  plan.when = Plan::kNone;
  return plan.code;
}

void LockFailures() { plans_mutex.lock(); }
void UnlockFailures() { plans_mutex.unlock(); }

void FailOnce(Call call, int code, int skip) {
  const std::lock_guard<std::mutex> lock(plans_mutex);
  Plan& plan = PlanOf(call);
  plan.when = Plan::kOnce;
  plan.code = code;
  plan.skip = skip;
}

void FailAlways(Call call, int code) {
  const std::lock_guard<std::mutex> lock(plans_mutex);
  Plan& plan = PlanOf(call);
  plan.when = Plan::kAlways;
  plan.code = code;
}

void Heal(Call call) {
  const std::lock_guard<std::mutex> lock(plans_mutex);
  PlanOf(call).when = Plan::kNone;
}

int CallCount(Call call) {
  const std::lock_guard<std::mutex> lock(plans_mutex);
  return PlanOf(call).calls;
}

}  // namespace mach_double

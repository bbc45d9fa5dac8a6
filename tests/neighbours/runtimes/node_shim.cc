// NeighbourNextStep for Node: an addon with one function, nextStep. What it takes of Node's
// interface for addons is declared here, as its headers are not in every package of Node.
#include <cstddef>
#include <cstdint>

extern "C" {

using NodeCallback = void* (*)(void* node, void* arguments);

int napi_create_function(void* node, const char* name, size_t length, NodeCallback callback,
                         void* data, void** result);
int napi_create_int32(void* node, int32_t value, void** result);
int napi_set_named_property(void* node, void* object, const char* name, void* value);

int NeighbourNextStep();

static void* NextStep(void* node, void* /*arguments*/) {
  void* result = nullptr;
  napi_create_int32(node, NeighbourNextStep(), &result);
  return result;
}

__attribute__((visibility("default"))) void* napi_register_module_v1(void* node, void* exports) {
  void* function = nullptr;
  napi_create_function(node, "nextStep", sizeof "nextStep" - 1, NextStep, nullptr, &function);
  napi_set_named_property(node, exports, "nextStep", function);
  return exports;
}
}

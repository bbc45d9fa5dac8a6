// Objective-C exceptions that nobody catches, and crashes inside the Objective-C runtime.
#import <Foundation/Foundation.h>
#include <dlfcn.h>
#include <stdlib.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <thread>

#include "tests/crash_matrix/scenario.h"

// The SDK's functions; the host calls them, and whatever else they do is Foundation's.
extern "C" {
__attribute__((visibility("default"))) CHILD_FUNCTION void OruRTCRaises() {
  [NSException raise:@"MatrixException" format:@"raised %s", "once"];
}

__attribute__((visibility("default"))) CHILD_FUNCTION void OruRTCRaisesObject() {
  [[NSException exceptionWithName:@"MatrixException" reason:@"raised once" userInfo:nil] raise];
}

__attribute__((visibility("default"))) CHILD_FUNCTION void OruRTCThrows() {
  @throw [NSException exceptionWithName:@"MatrixException" reason:@"made before" userInfo:nil];
}

__attribute__((visibility("default"))) CHILD_FUNCTION void OruRTCAsksOutOfRange() {
  [[NSArray array] objectAtIndex:1];
}

__attribute__((visibility("default"))) CHILD_FUNCTION void OruRTCRaisesAgain() {
  @try {
    [NSException raise:@"MatrixException" format:@"raised %s", "once"];
  } @catch (NSException*) {
    @throw;
  }
}
}

namespace crash_test {
namespace {

void (*sInitialize)() = nullptr;
std::atomic<bool> sInitializing{false};

SCENARIO(RaiseUncaught) { [NSException raise:@"MatrixException" format:@"raised %s", "once"]; }

NSException* MakeException() {
  return [NSException exceptionWithName:@"MatrixException" reason:@"made before" userInfo:nil];
}

SCENARIO(ThrowUncaughtException) { @throw MakeException(); }

SCENARIO(ThrowAnObject) { @throw @"no exception at all"; }

SCENARIO(RaiseOutOfRange) { [[NSArray array] objectAtIndex:1]; }

SCENARIO(SendUnknownMessage) {
  [[[[NSObject alloc] init] autorelease] performSelector:NSSelectorFromString(@"noSuchMessage")];
}

SCENARIO(RethrowInCatch) {
  @try {
    RaiseUncaught();
  } @catch (NSException*) {
    @throw;
  }
}

SCENARIO(ThrowCaughtAgain) {
  @try {
    RaiseUncaught();
  } @catch (NSException* exception) {
    @throw exception;
  }
}

SCENARIO(RaisedByTheSdk) { OruRTCRaises(); }

SCENARIO(RaisedAsAnObjectByTheSdk) { OruRTCRaisesObject(); }

SCENARIO(ThrownByTheSdk) { OruRTCThrows(); }

SCENARIO(OutOfRangeInTheSdk) { OruRTCAsksOutOfRange(); }

SCENARIO(RaisedAgainByTheSdk) { OruRTCRaisesAgain(); }

SCENARIO(RaisedByTheSdkAndAgainByTheHost) {
  @try {
    OruRTCRaises();
  } @catch (NSException*) {
    @throw;
  }
}

SCENARIO(RaisedByTheSdkAndThrownByTheHost) {
  @try {
    OruRTCRaises();
  } @catch (NSException* exception) {
    @throw exception;
  }
}

NSString* HalfAPair() { return [NSString stringWithFormat:@"a%Cb", static_cast<unichar>(0xD800)]; }

SCENARIO(RaiseWithHalfAPair) {
  [[NSException exceptionWithName:HalfAPair() reason:HalfAPair() userInfo:nil] raise];
}

SCENARIO(RaiseWithHalfAPairAndTheSinkFaults) {
  Handler()->SetDebugLogSinkCallback(
      [](CrashHandler::CrashHandlerLogLevel, const char*, const char*, int, char* line) {
        if (strstr(line, "Crash stack: ") != nullptr) WriteToNull();
      });
  RaiseWithHalfAPair();
}

CHILD_FUNCTION void RaiseWithoutAWayOut() noexcept { RaiseUncaught(); }

// GNU's own last handler would take the exception for one of C++.
SCENARIO(RaiseOutOfNoexcept) {
  std::set_terminate(abort);
  RaiseWithoutAWayOut();
}

// It does so: what lies before the exception tells whether it faults or aborts then.
SCENARIO(RaiseOutOfNoexceptByDefault) { RaiseWithoutAWayOut(); }

SCENARIO(FaultInObjcCatch) {
  @try {
    RaiseUncaught();
  } @catch (NSException*) {
    WriteToNull();
  }
}

SCENARIO(FaultInObjcFinally) {
  @try {
    @try {
      RaiseUncaught();
    } @finally {
      WriteToNull();
    }
  } @catch (NSException*) {
  }
}

}  // namespace
}  // namespace crash_test

// Its first use runs `initialize` with the runtime's lock held.
@interface MatrixLazy : NSObject
+ (void)use;
@end

@implementation MatrixLazy
+ (void)initialize {
  crash_test::sInitializing = true;
  crash_test::sInitialize();
  crash_test::sInitializing = false;
}
+ (void)use {
}
@end

namespace crash_test {
namespace {

SCENARIO(FaultInInitialize) {
  sInitialize = WriteToNull;
  [MatrixLazy use];
}

SCENARIO(RaiseInInitialize) {
  sInitialize = RaiseUncaught;
  [MatrixLazy use];
}

void AnotherIsInInitialize() {
  sInitialize = SleepForEver;
  std::thread([] { [MatrixLazy use]; }).detach();
  while (!sInitializing) SleepMs(1);
}

SCENARIO(FaultWhileAnotherIsInInitialize) {
  AnotherIsInInitialize();
  WriteToNull();
}

// The end that the runtime makes of an uncaught exception takes a moment, in which the process is
// nobody's crash any more.
SCENARIO(RaiseBesideAFaultAndTheExitIsSlow) {
  Require(atexit([] { SleepMs(50); }) == 0);
  Callback([](void*, CrashType) {
    std::thread([] { OruRTCScenario(WriteToNull); }).detach();
    SleepMs(200);
  });
  RaiseUncaught();
}

SCENARIO(RaiseAndTheCallbackHangs) {
  Callback([](void*, CrashType) { SleepForEver(); });
  RaiseUncaught();
}

// Nobody catches the second one either.
SCENARIO(RaiseAndTheCallbackRaises) {
  Callback([](void*, CrashType) { RaiseUncaught(); });
  RaiseUncaught();
}

// Nobody catches the callback's.
SCENARIO(HugeNewAndTheCallbackRaises) {
  Callback([](void*, CrashType) { RaiseUncaught(); });
  volatile size_t bytes = PTRDIFF_MAX;
  ::operator delete(::operator new(bytes));
}

// No exception is the crash.
SCENARIO(FaultAndTheCallbackRaises) {
  Callback([](void*, CrashType) { RaiseUncaught(); });
  WriteToNull();
}

SCENARIO(FaultInATryAndTheCallbackRaises) {
  Callback([](void*, CrashType) { RaiseUncaught(); });
  @try {
    WriteToNull();
  } @catch (NSException*) {
    _exit(kScenarioFailed);
  }
}

SCENARIO(FaultInLoad) { dlopen(LOADED_CLASS_LIBRARY, RTLD_NOW); }

SCENARIO(FaultHoldingAnObjectsLock) {
  @synchronized([NSThread mainThread]) {
    WriteToNull();
  }
}

}  // namespace

}  // namespace crash_test

// Called by the library's class while it is loaded.
extern "C" __attribute__((visibility("default"))) void LoadedMatrixClass() {
  crash_test::WriteToNull();
}

// Objective-C exceptions that nobody catches, and crashes inside the Objective-C runtime.
#import <Foundation/Foundation.h>
#include <dlfcn.h>
#include <stdlib.h>

#include <atomic>
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

CHILD_FUNCTION void RaiseUncaught() {
  [NSException raise:@"MatrixException" format:@"raised %s", "once"];
}

NSException* MakeException() {
  return [NSException exceptionWithName:@"MatrixException" reason:@"made before" userInfo:nil];
}

CHILD_FUNCTION void ThrowUncaughtException() { @throw MakeException(); }

CHILD_FUNCTION void ThrowAnObject() { @throw @"no exception at all"; }

CHILD_FUNCTION void RaiseOutOfRange() { [[NSArray array] objectAtIndex:1]; }

CHILD_FUNCTION void SendUnknownMessage() {
  [[[[NSObject alloc] init] autorelease] performSelector:NSSelectorFromString(@"noSuchMessage")];
}

CHILD_FUNCTION void RethrowInCatch() {
  @try {
    RaiseUncaught();
  } @catch (NSException*) {
    @throw;
  }
}

CHILD_FUNCTION void ThrowCaughtAgain() {
  @try {
    RaiseUncaught();
  } @catch (NSException* exception) {
    @throw exception;
  }
}

CHILD_FUNCTION void RaisedByTheSdk() { OruRTCRaises(); }

CHILD_FUNCTION void RaisedAsAnObjectByTheSdk() { OruRTCRaisesObject(); }

CHILD_FUNCTION void ThrownByTheSdk() { OruRTCThrows(); }

CHILD_FUNCTION void OutOfRangeInTheSdk() { OruRTCAsksOutOfRange(); }

CHILD_FUNCTION void RaisedAgainByTheSdk() { OruRTCRaisesAgain(); }

CHILD_FUNCTION void RaisedByTheSdkAndAgainByTheHost() {
  @try {
    OruRTCRaises();
  } @catch (NSException*) {
    @throw;
  }
}

CHILD_FUNCTION void RaisedByTheSdkAndThrownByTheHost() {
  @try {
    OruRTCRaises();
  } @catch (NSException* exception) {
    @throw exception;
  }
}

NSString* HalfAPair() { return [NSString stringWithFormat:@"a%Cb", static_cast<unichar>(0xD800)]; }

CHILD_FUNCTION void RaiseWithHalfAPair() {
  [[NSException exceptionWithName:HalfAPair() reason:HalfAPair() userInfo:nil] raise];
}

CHILD_FUNCTION void RaiseWithHalfAPairAndTheSinkFaults() {
  Handler()->SetDebugLogSinkCallback(
      [](CrashHandler::CrashHandlerLogLevel, const char*, const char*, int, char* line) {
        if (strstr(line, "Crash stack: ") != nullptr) WriteToNull();
      });
  RaiseWithHalfAPair();
}

CHILD_FUNCTION void RaiseWithoutAWayOut() noexcept { RaiseUncaught(); }

// GNU's own last handler would take the exception for one of C++.
CHILD_FUNCTION void RaiseOutOfNoexcept() {
  std::set_terminate(abort);
  RaiseWithoutAWayOut();
}

// It does so: what lies before the exception tells whether it faults or aborts then.
CHILD_FUNCTION void RaiseOutOfNoexceptByDefault() { RaiseWithoutAWayOut(); }

CHILD_FUNCTION void FaultInObjcCatch() {
  @try {
    RaiseUncaught();
  } @catch (NSException*) {
    WriteToNull();
  }
}

CHILD_FUNCTION void FaultInObjcFinally() {
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

CHILD_FUNCTION void FaultInInitialize() {
  sInitialize = WriteToNull;
  [MatrixLazy use];
}

CHILD_FUNCTION void RaiseInInitialize() {
  sInitialize = RaiseUncaught;
  [MatrixLazy use];
}

void AnotherIsInInitialize() {
  sInitialize = SleepForEver;
  std::thread([] { [MatrixLazy use]; }).detach();
  while (!sInitializing) SleepMs(1);
}

CHILD_FUNCTION void FaultWhileAnotherIsInInitialize() {
  AnotherIsInInitialize();
  WriteToNull();
}

CHILD_FUNCTION void RaiseAndTheCallbackHangs() {
  Callback([](void*, CrashType) { SleepForEver(); });
  RaiseUncaught();
}

// Nobody catches the second one either.
CHILD_FUNCTION void RaiseAndTheCallbackRaises() {
  Callback([](void*, CrashType) { RaiseUncaught(); });
  RaiseUncaught();
}

// No exception is the crash.
CHILD_FUNCTION void FaultAndTheCallbackRaises() {
  Callback([](void*, CrashType) { RaiseUncaught(); });
  WriteToNull();
}

CHILD_FUNCTION void FaultInATryAndTheCallbackRaises() {
  Callback([](void*, CrashType) { RaiseUncaught(); });
  @try {
    WriteToNull();
  } @catch (NSException*) {
    _exit(kScenarioFailed);
  }
}

CHILD_FUNCTION void FaultInLoad() { dlopen(LOADED_CLASS_LIBRARY, RTLD_NOW); }

CHILD_FUNCTION void FaultHoldingAnObjectsLock() {
  @synchronized([NSThread mainThread]) {
    WriteToNull();
  }
}

}  // namespace

std::vector<Scenario> ObjcScenarios() {
  return {
      SCENARIO(RaiseUncaught),
      SCENARIO(ThrowUncaughtException),
      SCENARIO(ThrowAnObject),
      SCENARIO(RaiseOutOfRange),
      SCENARIO(SendUnknownMessage),
      SCENARIO(RethrowInCatch),
      SCENARIO(ThrowCaughtAgain),
      SCENARIO(RaisedByTheSdk),
      SCENARIO(RaisedAsAnObjectByTheSdk),
      SCENARIO(ThrownByTheSdk),
      SCENARIO(OutOfRangeInTheSdk),
      SCENARIO(RaisedAgainByTheSdk),
      SCENARIO(RaisedByTheSdkAndAgainByTheHost),
      SCENARIO(RaisedByTheSdkAndThrownByTheHost),
      SCENARIO(RaiseWithHalfAPair),
      SCENARIO(RaiseWithHalfAPairAndTheSinkFaults),
      SCENARIO(RaiseOutOfNoexcept),
      SCENARIO(RaiseOutOfNoexceptByDefault),
      SCENARIO(FaultInObjcCatch),
      SCENARIO(FaultInObjcFinally),
      SCENARIO(FaultInInitialize),
      SCENARIO(RaiseInInitialize),
      SCENARIO(FaultWhileAnotherIsInInitialize),
      SCENARIO(RaiseAndTheCallbackHangs),
      SCENARIO(RaiseAndTheCallbackRaises),
      SCENARIO(FaultAndTheCallbackRaises),
      SCENARIO(FaultInATryAndTheCallbackRaises),
      SCENARIO(FaultInLoad),
      SCENARIO(FaultHoldingAnObjectsLock),
  };
}

}  // namespace crash_test

// Called by the library's class while it is loaded.
extern "C" __attribute__((visibility("default"))) void LoadedMatrixClass() {
  crash_test::WriteToNull();
}

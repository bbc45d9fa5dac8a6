// The call stack class with its macOS way of finding a thread, on the stand-in.
#import "media_core/biz_engine/crash_handler/darwin/oru_rtc_call_stack.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "tests/mach_double/mach_double.h"

// Plays an NSThread of the platform: its name is that of the system's threads behind it.
@interface ThreadOnDouble : NSThread {
 @public
  std::vector<mach_port_t> ports;
  std::vector<std::string> names_given;
}
@end

@implementation ThreadOnDouble
- (void)setName:(NSString*)name {
  [super setName:name];
  const std::string text = name != nil ? [name UTF8String] : "";
  names_given.push_back(text);
  for (const mach_port_t port : ports) mach_double::NameThread(port, text);
}
@end

namespace {

struct Frame {
  const Frame* previous;
  uint64_t return_address;
};

constexpr uint64_t kInstruction = 0x1000;
const Frame kOutermost = {nullptr, 0x1001};

x86_thread_state64_t OneFrame() {
  x86_thread_state64_t state = {};
  state.__rip = kInstruction;
  state.__rbp = reinterpret_cast<uint64_t>(&kOutermost);
  return state;
}

// The text of a thread with these registers, outside every image.
std::string TextOf(mach_port_t port, const std::string& name) {
  char line[128];
  snprintf(line, sizeof(line), "%-30s  0x%08lx %s + %lu\n", "0x0000000000000000", kInstruction,
           "0x0", kInstruction);
  return "Thread " + std::to_string(port) + " " + name + ":\n" + line + "\n";
}

// Gives the calling thread known registers and a name.
mach_port_t FixCallingThread(const char* name) {
  const mach_port_t port = mach_double::ServeCurrentThread();
  mach_double::FixThreadState(port, OneFrame());
  mach_double::NameThread(port, name);
  return port;
}

mach_port_t AddNamed(const char* name, bool has_pthread = true) {
  return mach_double::AddThread({name, has_pthread, OneFrame()});
}

ThreadOnDouble* MakeThread(NSString* name, const std::vector<mach_port_t>& ports) {
  ThreadOnDouble* thread = [[[ThreadOnDouble alloc] init] autorelease];
  thread->ports = ports;
  [thread setName:name];
  thread->names_given.clear();
  return thread;
}

// Seconds since 1970 with six digits behind the point.
void ExpectTimeStamp(const std::string& name) {
  double seconds = 0;
  char again[64];
  ASSERT_EQ(1, sscanf(name.c_str(), "%lf", &seconds)) << name;
  snprintf(again, sizeof(again), "%f", seconds);
  EXPECT_EQ(again, name);
  EXPECT_NEAR([[NSDate date] timeIntervalSince1970], seconds, 60);
}

TEST(MachThreadMatch, AThreadIsFoundByItsTemporaryNameWhichIsTakenBack) {
  @autoreleasepool {
    FixCallingThread("caller");
    AddNamed("before");
    const mach_port_t wanted = AddNamed("");
    AddNamed("behind");
    ThreadOnDouble* const thread = MakeThread(@"worker", {wanted});
    const std::string text = [[OruRTCCallStack backtraceOfNSThread:thread] UTF8String];
    EXPECT_EQ(TextOf(wanted, "worker"), text);
    ASSERT_EQ(2u, thread->names_given.size());
    ExpectTimeStamp(thread->names_given[0]);
    EXPECT_EQ("worker", thread->names_given[1]);
    EXPECT_STREQ("worker", [[thread name] UTF8String]);
  }
}

TEST(MachThreadMatch, OfSeveralThreadsOfThatNameTheFirstIsTaken) {
  @autoreleasepool {
    const mach_port_t first = AddNamed("");
    const mach_port_t second = AddNamed("");
    ThreadOnDouble* const thread = MakeThread(@"both", {second, first});
    EXPECT_EQ(TextOf(first, "both"), [[OruRTCCallStack backtraceOfNSThread:thread] UTF8String]);
  }
}

TEST(MachThreadMatch, AThreadWithoutAPthreadIsPassedOver) {
  @autoreleasepool {
    const mach_port_t bare = AddNamed("", false);
    const mach_port_t wanted = AddNamed("");
    ThreadOnDouble* const thread = MakeThread(@"worker", {bare, wanted});
    EXPECT_EQ(TextOf(wanted, "worker"), [[OruRTCCallStack backtraceOfNSThread:thread] UTF8String]);
  }
}

TEST(MachThreadMatch, WithoutAMatchItIsTheCallingThreadAndTheNameIsTakenBack) {
  @autoreleasepool {
    const mach_port_t caller = FixCallingThread("caller");
    AddNamed("somebody else");
    ThreadOnDouble* const thread = MakeThread(@"not running", {});
    EXPECT_EQ(TextOf(caller, "caller"), [[OruRTCCallStack backtraceOfNSThread:thread] UTF8String]);
    ASSERT_EQ(2u, thread->names_given.size());
    ExpectTimeStamp(thread->names_given[0]);
    EXPECT_STREQ("not running", [[thread name] UTF8String]);
  }
}

TEST(MachThreadMatch, WithoutAListItIsTheCallingThread) {
  @autoreleasepool {
    const mach_port_t caller = FixCallingThread("caller");
    const mach_port_t wanted = AddNamed("");
    ThreadOnDouble* const thread = MakeThread(@"worker", {wanted});
    mach_double::FailOnce(mach_double::Call::kTaskThreads, KERN_FAILURE);
    EXPECT_EQ(TextOf(caller, "caller"), [[OruRTCCallStack backtraceOfNSThread:thread] UTF8String]);
    EXPECT_STREQ("worker", [[thread name] UTF8String]);
  }
}

TEST(MachThreadMatch, TheMainThreadIsKnownByItsNumberAndStaysRenamed) {
  @autoreleasepool {
    const mach_port_t main_port = FixCallingThread("main");
    std::string text;
    std::thread([&text] {
      @autoreleasepool {
        FixCallingThread("another");
        text = [[OruRTCCallStack backtraceOfMainThread] UTF8String];
      }
    }).join();
    EXPECT_EQ(TextOf(main_port, "main"), text);
    ExpectTimeStamp([[[NSThread mainThread] name] UTF8String]);
  }
}

TEST(MachThreadMatch, TheMainThreadNeedsNoList) {
  @autoreleasepool {
    const mach_port_t main_port = FixCallingThread("main");
    mach_double::FailAlways(mach_double::Call::kTaskThreads, KERN_FAILURE);
    EXPECT_EQ(TextOf(main_port, "main"), [[OruRTCCallStack backtraceOfCurrentThread] UTF8String]);
  }
}

}  // namespace

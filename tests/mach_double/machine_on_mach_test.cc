// The macOS variants of the machine seam, and the texts made of what they say, on the stand-in.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/host/host.h"
#include "media_core/biz_engine/crash_handler/machine/host/system_facts.h"
#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_capture.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"
#include "tests/mach_double/mach_double.h"
#include "tests/support/child_process.h"

namespace CrashHandler::machine {
namespace {

using mach_double::Call;

// ---- Symbols against LLVM's ----

struct NmSymbol {
  uint64_t value;
  std::string name;
};

// The defined symbols in the order of the table.
std::vector<NmSymbol> SymbolsByNm(const std::string& path) {
  const oru_test::ChildResult nm = oru_test::RunChild({LLVM_NM, "-p", path});
  EXPECT_EQ(0, nm.exit_code) << nm.err;
  std::vector<NmSymbol> symbols;
  std::istringstream lines(nm.out);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line[0] == ' ') continue;  // undefined
    NmSymbol symbol;
    symbol.value = std::stoull(line.substr(0, 16), nullptr, 16);
    symbol.name = line.substr(19);
    if (symbol.value != 0) symbols.push_back(symbol);
  }
  return symbols;
}

const NmSymbol* Nearest(const std::vector<NmSymbol>& symbols, uint64_t address) {
  const NmSymbol* best = nullptr;
  for (const NmSymbol& symbol : symbols) {
    if (symbol.value > address) continue;
    if (best == nullptr || symbol.value >= best->value) best = &symbol;
  }
  return best;
}

std::string WithoutUnderscore(const std::string& name) {
  return !name.empty() && name[0] == '_' ? name.substr(1) : name;
}

const segment_command_64* SegmentOf(uint32_t image, const char* name) {
  const auto* header = reinterpret_cast<const mach_header_64*>(_dyld_get_image_header(image));
  const char* at = reinterpret_cast<const char*>(header + 1);
  for (uint32_t i = 0; i < header->ncmds; ++i) {
    const auto* const segment = reinterpret_cast<const segment_command_64*>(at);
    if (segment->cmd == LC_SEGMENT_64 && strncmp(segment->segname, name, 16) == 0) return segment;
    at += segment->cmdsize;
  }
  return nullptr;
}

// Makes the image's UUID a command that nobody knows.
void HideUuid(uint32_t image) {
  const auto* header = reinterpret_cast<const mach_header_64*>(_dyld_get_image_header(image));
  char* at = reinterpret_cast<char*>(const_cast<mach_header_64*>(header + 1));
  for (uint32_t i = 0; i < header->ncmds; ++i) {
    auto* const command = reinterpret_cast<load_command*>(at);
    if (command->cmd == LC_UUID) command->cmd = 0x7000;
    at += command->cmdsize;
  }
}

const char* const kLibraries[] = {MACHO_SMALL, MACHO_CXX, MACHO_STRIPPED};

void ExpectSymbol(const NmSymbol* wanted, intptr_t slide, const SymbolInformation& found,
                  uint64_t address) {
  if (wanted == nullptr) {
    ASSERT_EQ(nullptr, found.dli_sname) << std::hex << address;
    return;
  }
  ASSERT_NE(nullptr, found.dli_sname) << std::hex << address << " " << wanted->name;
  ASSERT_EQ(WithoutUnderscore(wanted->name), found.dli_sname) << std::hex << address;
  ASSERT_EQ(wanted->value + static_cast<uint64_t>(slide),
            reinterpret_cast<uint64_t>(found.dli_saddr));
}

TEST(MachImages, SymbolsAgreeWithLlvmNmForEveryAddressOfThreeLibraries) {
  for (const char* const path : kLibraries) ASSERT_TRUE(mach_double::LoadImage(path)) << path;
  ASSERT_EQ(3u, _dyld_image_count());
  Symbolizer symbolizer;
  for (uint32_t image = 0; image < 3; ++image) {
    const std::vector<NmSymbol> symbols = SymbolsByNm(kLibraries[image]);
    const intptr_t slide = _dyld_get_image_vmaddr_slide(image);
    const segment_command_64* const text = SegmentOf(image, SEG_TEXT);
    ASSERT_NE(nullptr, text);
    for (uint64_t at = text->vmaddr; at < text->vmaddr + text->vmsize; ++at) {
      SymbolInformation found;
      ASSERT_TRUE(
          symbolizer.ResolveOne(static_cast<uintptr_t>(at + static_cast<uint64_t>(slide)), &found));
      ASSERT_STREQ(kLibraries[image], found.dli_fname);
      ASSERT_EQ(_dyld_get_image_header(image), found.dli_fbase);
      ASSERT_NO_FATAL_FAILURE(ExpectSymbol(Nearest(symbols, at), slide, found, at));
    }
  }
}

TEST(MachImages, ManyAddressesAtOnceGiveWhatEachGivesAlone) {
  for (const char* const path : kLibraries) ASSERT_TRUE(mach_double::LoadImage(path));
  std::vector<uintptr_t> addresses = {0, 16};
  for (uint32_t image = 0; image < 3; ++image) {
    const auto header = reinterpret_cast<uintptr_t>(_dyld_get_image_header(image));
    for (uintptr_t offset = 0; offset < 0x2000; offset += 97) addresses.push_back(header + offset);
  }
  std::vector<SymbolInformation> records(addresses.size());
  Symbolizer symbolizer;
  symbolizer.Resolve(addresses.data(), records.data(), addresses.size());
  for (size_t i = 0; i < addresses.size(); ++i) {
    SymbolInformation alone;
    symbolizer.ResolveOne(addresses[i], &alone);
    EXPECT_EQ(0, memcmp(&alone, &records[i], sizeof(alone))) << addresses[i];
  }
}

TEST(MachImages, ManyAddressesAtOnceCostOnePassOverTheTable) {
  ASSERT_TRUE(mach_double::LoadImage(MACHO_CXX));
  const auto header = reinterpret_cast<uintptr_t>(_dyld_get_image_header(0));
  const segment_command_64* const text = SegmentOf(0, SEG_TEXT);
  constexpr size_t kCount = 500;
  const uintptr_t end = header + text->vmsize;
  std::vector<uintptr_t> addresses;
  for (size_t i = 0; i < kCount; ++i) addresses.push_back(end - 1 - i % (text->vmsize / 2));
  std::vector<SymbolInformation> records(kCount);
  Symbolizer symbolizer;
  const auto reads_for = [&](size_t count) {
    const int before = mach_double::CallCount(Call::kVmReadOverwrite);
    symbolizer.Resolve(addresses.data(), records.data(), count);
    return mach_double::CallCount(Call::kVmReadOverwrite) - before;
  };
  const int one = reads_for(1);
  ASSERT_GE(one, 2) << "a table and a name";
  // What each address more may cost is a look at its symbol's name.
  EXPECT_LE(reads_for(kCount), one + static_cast<int>(kCount) - 1);
  for (const SymbolInformation& record : records) EXPECT_NE(nullptr, record.dli_sname);
}

TEST(MachImages, AnAddressOutsideEveryImageIsUnknown) {
  ASSERT_TRUE(mach_double::LoadImage(MACHO_SMALL));
  SymbolInformation found;
  int local = 0;
  EXPECT_FALSE(Symbolizer().ResolveOne(reinterpret_cast<uintptr_t>(&local), &found));
  EXPECT_EQ(nullptr, found.dli_fname);
  EXPECT_EQ(nullptr, found.dli_fbase);
}

TEST(MachImages, TheImageListShowsEveryLibraryInTheLoadersOrder) {
  for (const char* const path : kLibraries) ASSERT_TRUE(mach_double::LoadImage(path));
  std::istringstream lines(ImageListText());
  for (uint32_t image = 0; image < 3; ++image) {
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    const auto start = reinterpret_cast<uint64_t>(_dyld_get_image_header(image));
    const segment_command_64* const text = SegmentOf(image, SEG_TEXT);
    char addresses[64];
    snprintf(addresses, sizeof(addresses), "%#18lx - %#18lx  ", start, start + text->vmsize - 1);
    EXPECT_EQ(addresses, line.substr(0, strlen(addresses)));
    const std::string path = kLibraries[image];
    const std::string name = path.substr(path.rfind('/') + 1);
    EXPECT_EQ(name + " arm64  <", line.substr(strlen(addresses), name.size() + 9));
    EXPECT_EQ("> " + path, line.substr(line.find('>')));
    EXPECT_EQ(32u, line.find('>') - line.find('<') - 1);
  }
  std::string rest;
  EXPECT_FALSE(std::getline(lines, rest));
}

std::string ListText() {
  TextBuffer text;
  AppendImageList(&text);
  return std::string(text.data(), text.size());
}

const mach_header* HeaderOf(const char* name) {
  for (uint32_t i = 0; i < _dyld_image_count(); ++i) {
    if (std::string(_dyld_get_image_name(i)) == name) return _dyld_get_image_header(i);
  }
  return nullptr;
}

TEST(MachImages, OnceKeptTheListNeedsNoLockOfTheLoader) {
  ASSERT_TRUE(mach_double::LoadImage(MACHO_SMALL, "/first"));
  const std::string asked = ListText();
  PrepareImages();
  EXPECT_EQ(ListText(), asked);
  std::future<std::string> listed;
  {
    const mach_double::LoaderLock held;
    listed = std::async(std::launch::async, &ListText);
    EXPECT_EQ(listed.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  }
  EXPECT_EQ(listed.get(), asked);
}

TEST(MachImages, TheKeptListFollowsWhatIsLoadedAndUnloaded) {
  ASSERT_TRUE(mach_double::LoadImage(MACHO_SMALL, "/first"));
  PrepareImages();
  PrepareImages();
  ASSERT_TRUE(mach_double::LoadImage(MACHO_CXX, "/second"));
  ASSERT_TRUE(mach_double::LoadImage(MACHO_STRIPPED, "/third"));
  const std::string three = ListText();
  EXPECT_LT(three.find("/first"), three.find("/second"));
  EXPECT_LT(three.find("/second"), three.find("/third\n"));
  mach_double::RemoveImage(HeaderOf("/second"));
  const std::string two = ListText();
  EXPECT_EQ(two.find("/second"), std::string::npos);
  EXPECT_NE(two.find("/third"), std::string::npos);
  ASSERT_TRUE(mach_double::LoadImage(MACHO_CXX, "/second"));
  EXPECT_LT(ListText().find("/third"), ListText().find("/second"));
}

mach_header_64 sLateHeader = {MH_MAGIC_64, 0, 0, MH_DYLIB, 0, 0, 0, 0};
std::atomic<bool> sIsLoading{false};

// The loader calls with its lock held, for which the thread that begins to keep the list may wait.
TEST(MachImages, AnImageThatComesWhileTheKeepingBeginsHoldsNobodyUp) {
  ASSERT_TRUE(mach_double::LoadImage(MACHO_SMALL, "/first"));
  _dyld_register_func_for_add_image([](const mach_header* header, intptr_t) {
    if (header == reinterpret_cast<const mach_header*>(&sLateHeader)) sIsLoading = true;
  });
  std::thread loading;
  std::atomic<bool> begun{false};
  mach_double::BeforeLoaderQuestions([&] {
    if (begun.exchange(true)) return;
    loading = std::thread([] {
      mach_double::AddImage("/late", reinterpret_cast<const mach_header*>(&sLateHeader), 0);
    });
    while (!sIsLoading) std::this_thread::yield();
  });
  alarm(30);  // ends the test where the two wait for each other
  PrepareImages();
  loading.join();
  alarm(0);
  EXPECT_NE(ListText().find("/first"), std::string::npos);
  EXPECT_NE(ListText().find("/late"), std::string::npos);
}

TEST(MachImages, AnImageThatGoesIsNotListedAgainForOneThatComesMeanwhile) {
  ASSERT_TRUE(mach_double::LoadImage(MACHO_SMALL, "/first"));
  PrepareImages();
  ASSERT_TRUE(mach_double::LoadImage(MACHO_CXX, "/second"));
  // After the module has heard of the end, and while the loader still lists the image.
  _dyld_register_func_for_remove_image([](const mach_header*, intptr_t) {
    mach_double::AddImage("/late", reinterpret_cast<const mach_header*>(&sLateHeader), 0);
  });
  const mach_header* const second = HeaderOf("/second");
  const intptr_t slide = _dyld_get_image_vmaddr_slide(1);
  mach_double::RemoveImage(second);
  EXPECT_EQ(ListText().find("/second"), std::string::npos) << ListText();
  EXPECT_NE(ListText().find("/late"), std::string::npos);
  mach_double::AddImage("/second", second, slide);
  EXPECT_NE(ListText().find("/second"), std::string::npos);
}

TEST(MachImages, AnImageWithoutUuidRepeatsThePreviousOne) {
  ASSERT_TRUE(mach_double::LoadImage(MACHO_SMALL));
  ASSERT_TRUE(mach_double::LoadImage(MACHO_CXX, "/x/no-uuid"));
  HideUuid(1);
  std::istringstream lines(ImageListText());
  std::string first;
  std::string second;
  ASSERT_TRUE(std::getline(lines, first));
  ASSERT_TRUE(std::getline(lines, second));
  EXPECT_EQ(first.substr(first.find('<'), 34), second.substr(second.find('<'), 34));
}

TEST(MachImages, AnImageWithoutANameIsListedWithoutOne) {
  ASSERT_TRUE(mach_double::LoadImage(MACHO_SMALL));
  const mach_header* const header = _dyld_get_image_header(0);
  const intptr_t slide = _dyld_get_image_vmaddr_slide(0);
  mach_double::RemoveImage(header);
  mach_double::AddNamelessImage(header, slide);
  const std::string text = ImageListText();
  EXPECT_NE(std::string::npos, text.find("   arm64  <")) << text;
  EXPECT_EQ("> \n", text.substr(text.find('>')));
}

// ---- Threads ----

struct Frame {
  const Frame* previous;
  uint64_t return_address;
};

x86_thread_state64_t StateAt(uintptr_t rip, const Frame* frame) {
  x86_thread_state64_t state = {};
  state.__rip = rip;
  state.__rbp = reinterpret_cast<uint64_t>(frame);
  return state;
}

std::string Line(const char* image, uint64_t address, const std::string& symbol, uint64_t offset) {
  char line[256];
  snprintf(line, sizeof(line), "%-30s  0x%08lx %s + %lu\n", image, address, symbol.c_str(), offset);
  return line;
}

TEST(MachThreads, AServedThreadsTextIsExact) {
  mach_double::ForgetThreads();
  ASSERT_TRUE(mach_double::LoadImage(MACHO_SMALL, "/lib/libsmall.dylib"));
  const auto slide = static_cast<uint64_t>(_dyld_get_image_vmaddr_slide(0));
  const std::vector<NmSymbol> symbols = SymbolsByNm(MACHO_SMALL);
  const auto address_of = [&](const std::string& name) {
    for (const NmSymbol& symbol : symbols) {
      if (symbol.name == name) return symbol.value + slide;
    }
    ADD_FAILURE() << name;
    return slide;
  };
  const uint64_t first = address_of("_first_function");
  const uint64_t last = address_of("_last_function");
  const Frame outermost = {nullptr, first + 1};
  const Frame middle = {&outermost, last};  // returns to the very start: the call is before it
  const Frame inner = {&middle, last + 3};
  const mach_port_t thread = mach_double::AddThread({"worker one", true, StateAt(first, &inner)});
  const NmSymbol* const before_last = Nearest(symbols, last - slide - 1);
  ASSERT_NE(nullptr, before_last);
  const uint64_t before_address = before_last->value + slide;
  const std::string wanted =
      "Thread " + std::to_string(thread) + " worker one:\n" +
      Line("libsmall.dylib", first, "first_function", 0) +
      Line("libsmall.dylib", last + 3, "last_function", 3) +
      Line("libsmall.dylib", last, WithoutUnderscore(before_last->name), last - before_address) +
      "\n";
  EXPECT_EQ(wanted, TextOfThread(thread));
  EXPECT_EQ(wanted, TextOfAllThreads());
}

TEST(MachThreads, AThreadWithoutANameOrPthreadHasAnEmptyName) {
  static const Frame outermost = {nullptr, 0x1001};
  const mach_port_t unnamed = mach_double::AddThread({"", true, StateAt(0x1000, &outermost)});
  const mach_port_t bare = mach_double::AddThread({"lost", false, StateAt(0x1000, &outermost)});
  const std::string line = Line("0x0000000000000000", 0x1000, "0x0", 0x1000);
  EXPECT_EQ("Thread " + std::to_string(unnamed) + " :\n" + line + "\n", TextOfThread(unnamed));
  EXPECT_EQ("Thread " + std::to_string(bare) + " :\n" + line + "\n", TextOfThread(bare));
}

TEST(MachThreads, EveryFailureIsASentence) {
  const mach_port_t silent = mach_double::AddThread({"s", true, std::nullopt});
  EXPECT_EQ("Fail to get information about thread: " + std::to_string(silent),
            TextOfThread(silent));
  const mach_port_t nowhere = mach_double::AddThread({"n", true, StateAt(0, nullptr)});
  EXPECT_EQ("Fail to get instruction address", TextOfThread(nowhere));
  const mach_port_t frameless = mach_double::AddThread({"f", true, StateAt(0x1000, nullptr)});
  EXPECT_EQ("Fail to get frame pointer", TextOfThread(frameless));
  const mach_port_t wild = mach_double::AddThread(
      {"w", true, StateAt(0x1000, reinterpret_cast<const Frame*>(uintptr_t{8}))});
  EXPECT_EQ("Fail to get frame pointer", TextOfThread(wild));
  mach_double::FailAlways(Call::kTaskThreads, KERN_FAILURE);
  EXPECT_EQ("Fail to get information of all threads", TextOfAllThreads());
}

TEST(MachThreads, AnEndlessChainGivesFiftyLines) {
  Frame loop = {nullptr, 0x1001};
  loop.previous = &loop;
  const mach_port_t thread = mach_double::AddThread({"loop", true, StateAt(0x1000, &loop)});
  const std::string text = TextOfThread(thread);
  EXPECT_EQ(50 + 2, std::count(text.begin(), text.end(), '\n'));
}

TEST(MachThreads, ARunningThreadsRegistersPointIntoItsLoop) {
  std::atomic<bool> stop{false};
  std::atomic<ThreadNumber> number{0};
  std::thread spinner([&] {
    number = CurrentThreadNumber();
    while (!stop) std::this_thread::yield();
  });
  while (number == 0) std::this_thread::yield();
  Registers registers = {};
  EXPECT_TRUE(fillThreadStateIntoMachineContext(number, &registers));
  EXPECT_NE(0u, registers.rip);
  EXPECT_NE(0u, registers.rsp);
  ThreadList list;
  ASSERT_TRUE(list.Read());
  EXPECT_NE(list.numbers() + list.size(),
            std::find(list.numbers(), list.numbers() + list.size(), number.load()));
  stop = true;
  spinner.join();
  EXPECT_FALSE(fillThreadStateIntoMachineContext(number, &registers));
}

TEST(MachThreads, AFailingNameIsEmpty) {
  const mach_port_t thread = mach_double::AddThread({"name", true, std::nullopt});
  char name[kThreadNameSize];
  EXPECT_TRUE(ThreadName(thread, name, sizeof(name)));
  EXPECT_STREQ("name", name);
  mach_double::FailOnce(Call::kProcPidInfo, ESRCH);
  EXPECT_FALSE(ThreadName(thread, name, sizeof(name)));
  EXPECT_STREQ("", name);
  mach_double::FailOnce(Call::kThreadInfo, KERN_TERMINATED);
  EXPECT_FALSE(ThreadName(thread, name, sizeof(name)));
  EXPECT_FALSE(ThreadName(0x7777, name, sizeof(name)));
}

TEST(MachThreads, ANameIsCutToTheRoom) {
  const mach_port_t thread = mach_double::AddThread({"worker one", true, std::nullopt});
  char name[8] = "#######";
  EXPECT_TRUE(ThreadName(thread, name, 5));
  EXPECT_STREQ("work", name);
  EXPECT_STREQ("##", name + 5);
  EXPECT_FALSE(ThreadName(thread, name, 0));
  EXPECT_STREQ("work", name);
}

TEST(MachThreads, TheOwnNumberAddsNoRight) {
  const ThreadNumber own = CurrentThreadNumber();
  EXPECT_EQ(own, mach_double::ServeCurrentThread());
  const int before = mach_double::RightsOf(own).send;
  for (int i = 0; i < 100; ++i) EXPECT_EQ(own, CurrentThreadNumber());
  EXPECT_EQ(before, mach_double::RightsOf(own).send);
}

// ---- Memory and host ----

TEST(MachMemory, ABadAddressIsACodeNotAFault) {
  int from = 42;
  int to = 0;
  EXPECT_EQ(0, mach_copyMem(&from, &to, sizeof(to)));
  EXPECT_EQ(42, to);
  EXPECT_EQ(KERN_INVALID_ADDRESS, mach_copyMem(reinterpret_cast<void*>(8), &to, sizeof(to)));
  mach_double::FailOnce(Call::kVmReadOverwrite, KERN_PROTECTION_FAILURE);
  EXPECT_EQ(KERN_PROTECTION_FAILURE, mach_copyMem(&from, &to, sizeof(to)));
}

TEST(MachHost, EveryProcessorTypeHasItsWord) {
  const struct {
    cpu_type_t type;
    const char* word;
  } kinds[] = {{CPU_TYPE_X86, "x86_64"},  // the machine running the test calls itself so
               {CPU_TYPE_X86_64, "x86_64"},
               {CPU_TYPE_ARM, "ARM"},
               {CPU_TYPE_ARM64, "ARM64"},
               {18, "unSupport"}};
  for (const auto& kind : kinds) {
    mach_double::SetCpuType(kind.type);
    EXPECT_STREQ(kind.word, HostCpuTypeName());
  }
  mach_double::FailOnce(Call::kHostInfo, KERN_FAILURE);
  EXPECT_STREQ("unSupport", HostCpuTypeName());
  EXPECT_EQ(1, mach_double::RightsOf(mach_host_self()).send)
      << "each question gives its right back";
}

TEST(MachSystemFacts, LastingOnesAreThePlatforms) {
  const auto facts = std::make_unique<LastingFacts>();
  ReadLastingFacts(facts.get());
  EXPECT_NE(std::string(facts->executable).find("machine_on_mach_test"), std::string::npos);
  EXPECT_EQ(facts->processors, static_cast<uint64_t>(sysconf(_SC_NPROCESSORS_ONLN)));
}

TEST(MachSystemFacts, TheVersionIsTheTextBehindItsKey) {
  const char plist[] =
      "<dict>\n\t<key>ProductName</key>\n\t<string>macOS</string>\n"
      "\t<key>ProductVersion</key>\n\t<string>11.3</string>\n</dict>\n";
  char version[16];
  CopyQuoted(plist, "<key>ProductVersion</key>", "<string>", "<", version, sizeof(version));
  EXPECT_STREQ(version, "11.3");
  CopyQuoted(plist, "<key>ProductVersion</key>", "<string>", "<", version, 3);
  EXPECT_STREQ(version, "11");
  for (const char* broken :
       {"", "<key>ProductVersion</key>", "<key>ProductVersion</key><string>1"}) {
    CopyQuoted(broken, "<key>ProductVersion</key>", "<string>", "<", version, sizeof(version));
    EXPECT_STREQ(version, "") << broken;
  }
}

TEST(MachSystemFacts, MemoryIsInBytes) {
  MemoryFacts facts;
  ReadMemoryFacts(&facts);
  EXPECT_EQ(facts.machine, uint64_t{1} << 33);
  EXPECT_EQ(facts.available, uint64_t{1500} * static_cast<uint64_t>(sysconf(_SC_PAGESIZE)));
  EXPECT_EQ(facts.resident, 1U << 20);
  EXPECT_EQ(facts.peak, 1U << 21);
  EXPECT_EQ(facts.reserved, 1U << 30);
}

TEST(MachSystemFacts, WhatTheSystemDoesNotSayIsZero) {
  MemoryFacts facts;
  mach_double::FailOnce(Call::kHostInfo, KERN_FAILURE);
  mach_double::FailOnce(Call::kHostStatistics, KERN_FAILURE);
  mach_double::FailOnce(Call::kTaskInfo, KERN_FAILURE);
  ReadMemoryFacts(&facts);
  EXPECT_EQ(facts.machine + facts.available + facts.resident + facts.peak + facts.reserved, 0U);
  mach_double::FailOnce(Call::kSysctl, EPERM);
  EXPECT_EQ(SystemUptimeMs(), 0U);
  mach_double::FailOnce(Call::kSysctl, EPERM);
  EXPECT_EQ(ProcessUptimeMs(), 0U);
}

TEST(MachSystemFacts, UptimesAreInMilliseconds) {
  EXPECT_NEAR(static_cast<double>(SystemUptimeMs()), 3600e3, 100e3);
  EXPECT_NEAR(static_cast<double>(ProcessUptimeMs()), 60e3, 50e3);
}

}  // namespace
}  // namespace CrashHandler::machine

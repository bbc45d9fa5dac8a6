// The command line of the host program.
#ifndef EXAMPLES_HOST_APP_OPTIONS_H_
#define EXAMPLES_HOST_APP_OPTIONS_H_

#include <string>

namespace host_app {

struct Options {
  // Identity and dump directory; what is not given keeps the module's default.
  std::string dump_dir;
  std::string app_id;
  std::string session_id;
  std::string sdk_version;
  std::string extra_info;
  // How to crash; empty: not at all.
  std::string crash;
  // In the app's own code, which the filter leaves out.
  bool outside_sdk = false;
  // On a thread of its own named "worker".
  bool on_worker = false;
  // How many threads crash together in "many-threads".
  int crash_threads = 20;
  // Threads that wait in the background, each with a name.
  int idle_threads = 0;
  // Least time of work before the crash, in milliseconds.
  int work_ms = 0;
  bool alternate_stack = true;
  // The crash module's own log lines go to standard error, "LEVEL message".
  bool show_module_log = false;
  // The same through the module's console switch, to standard output.
  bool console = false;
  // What an earlier run has left is looked after first, and this one is recorded for the next.
  bool look_back = false;
  // With it, what it has left is sent: by this command, with the framework of this folder, to this
  // store. Credentials come from the environment.
  std::string upload_command;
  std::string library_path;
  std::string endpoint;
  std::string bucket;
  // Where logs and the trace go; empty: ~/Documents/Oru_RTC_Log/.
  std::string log_dir;
  bool help = false;
};

// Reads the arguments after the program's name. False, with a message for the user, when one is not
// understood.
bool ParseOptions(int argc, char** argv, Options* options, std::string* error);

// The help text.
std::string Usage();

}  // namespace host_app

#endif  // EXAMPLES_HOST_APP_OPTIONS_H_

// An upload of many logs: the command with the reference SDK beside "zip -r" at the same level and
// "curl -T" of the result. Whole processes, taking turns; medians of all rounds.
//
//   upload_bench [--megabytes N] [--files N] [--rounds N] [--seed N] [--scratch DIR] [--json FILE]
//
// Uploads into a folder of DIR, or, when S3_ENDPOINT, S3_ACCESS_KEY and S3_SECRET_KEY are set, into
// the bucket "bench" of that store:
//
//   set -a; eval "$(tests/object_store/object_store start /var/tmp/store | grep ^S3_)"
//   tests/object_store/object_store bucket /var/tmp/store bench
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/upload/log_writer.h"
#include "bench/upload/timed_process.h"

namespace upload_bench {
namespace {

// The reference SDK's own.
constexpr char kLevel[] = "-6";

struct Options {
  uint64_t megabytes = 2000;
  unsigned files = 2000;
  int rounds = 3;
  unsigned seed = 1;
  std::string scratch = "/var/tmp";
  std::string json;
};

struct Side {
  const char* name;
  std::vector<Cost> costs;
};

[[noreturn]] void Fail(const std::string& what) {
  fprintf(stderr, "upload_bench: %s\n", what.c_str());
  exit(1);
}

unsigned Number(const std::string& text) {
  const unsigned long number = strtoul(text.c_str(), nullptr, 10);
  if (number == 0 || number > 1000000) Fail("'" + text + "' is no number from 1 to 1000000");
  return static_cast<unsigned>(number);
}

Options ReadOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; i += 2) {
    const std::string key = argv[i];
    if (i + 1 == argc) Fail(key + " needs a value");
    const std::string value = argv[i + 1];
    if (key == "--megabytes") {
      options.megabytes = Number(value);
    } else if (key == "--files") {
      options.files = Number(value);
    } else if (key == "--rounds") {
      options.rounds = static_cast<int>(Number(value));
    } else if (key == "--seed") {
      options.seed = Number(value);
    } else if (key == "--scratch") {
      options.scratch = value;
    } else if (key == "--json") {
      options.json = value;
    } else {
      Fail("unknown option " + key);
    }
  }
  return options;
}

std::string Variable(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : "";
}

double Median(const Side& side, double Cost::*field) {
  std::vector<double> values;
  for (const Cost& cost : side.costs) values.push_back(cost.*field);
  std::sort(values.begin(), values.end());
  const size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

class UploadBench {
 public:
  explicit UploadBench(const Options& options) : options_(options) {
    std::string path = options.scratch + "/upload_bench.XXXXXX";
    if (mkdtemp(path.data()) == nullptr) Fail("no scratch folder in " + options.scratch);
    scratch_ = path;
  }
  ~UploadBench() { std::filesystem::remove_all(scratch_); }
  UploadBench(const UploadBench&) = delete;
  UploadBench& operator=(const UploadBench&) = delete;

  bool Run() {
    printf("writing %llu MB of logs in %u files\n",
           static_cast<unsigned long long>(options_.megabytes), options_.files);
    fflush(stdout);
    if (!WriteLogs(Path("logs"), options_.megabytes * 1000000, options_.files, options_.seed)) {
      return Complain("the logs could not be written to " + Path("logs"));
    }
    for (int round = 1; round <= options_.rounds; ++round) {
      for (Side* side : {&ours_, &peer_}) {
        if (!RunRound(side, round)) return false;
      }
    }
    Print();
    return options_.json.empty() || WriteJson();
  }

 private:
  std::string Path(const std::string& name) const { return scratch_ + "/" + name; }

  bool Complain(const std::string& what) const {
    fprintf(stderr, "upload_bench: %s\n", what.c_str());
    return false;
  }

  bool RunRound(Side* side, int round) {
    std::filesystem::remove_all(Path("store"));
    std::filesystem::create_directories(Path("store/bench"));
    const Cost cost = RunTimed(side == &ours_ ? OurCommand() : PeerCommand(),
                               {{"TMPDIR", scratch_}, {"no_proxy", "*"}}, Path("log"));
    if (cost.exit_code != 0) {
      std::ifstream log(Path("log"));
      return Complain(std::string(side->name) + " ended with " + std::to_string(cost.exit_code) +
                      ": " + std::string(std::istreambuf_iterator<char>(log), {}));
    }
    printf("round %d  %-20s wall %7.2f s  cpu %7.2f s  peak %6.1f MiB\n", round, side->name,
           cost.wall_s, cost.cpu_s, cost.peak_mib);
    fflush(stdout);
    side->costs.push_back(cost);
    return true;
  }

  std::vector<std::string> OurCommand() const {
    const std::string target = endpoint_.empty() ? "file://" + Path("store") : endpoint_;
    return {ORU_VARNOOK, "-action", "uploadLog", "-libp",   ORU_FRAMEWORKS, "-apid",
            "ours",      "-akid",   access_key_, "-akscrt", secret_key_,    "-edpt",
            target,      "-bukt",   "bench",     "-logp",   Path("logs")};
  }

  std::vector<std::string> PeerCommand() {
    std::string send = "curl -sS -f --noproxy '*' -T peer.zip ";
    if (endpoint_.empty()) {
      send += "file://" + Path("store/bench/peer.zip");
    } else {
      // curl cuts --user at the first colon, and a key may have one.
      const std::string host = endpoint_.substr(endpoint_.find("//") + 2);
      std::ofstream(Path("netrc")) << "machine " << host.substr(0, host.find(':')) << " login "
                                   << access_key_ << " password " << secret_key_ << "\n";
      send +=
          "--aws-sigv4 aws:amz:us-east-1:s3 -H 'x-amz-content-sha256: UNSIGNED-PAYLOAD' "
          "--netrc-file netrc " +
          endpoint_ + "/bench/peer.zip";
    }
    return {"sh", "-ec",
            "cd '" + scratch_ + "'; rm -f peer.zip; (cd logs; zip -q -r " + kLevel +
                " ../peer.zip .); " + send + "; rm peer.zip"};
  }

  void Print() const {
    printf("\n%-22s %10s %10s %10s\n", "median", "wall s", "cpu s", "peak MiB");
    for (const Side* side : {&ours_, &peer_}) {
      printf("%-22s %10.2f %10.2f %10.1f\n", side->name, Median(*side, &Cost::wall_s),
             Median(*side, &Cost::cpu_s), Median(*side, &Cost::peak_mib));
    }
    printf("%-22s %10.2f %10.2f\n", "ratio", Ratio(&Cost::wall_s), Ratio(&Cost::cpu_s));
  }

  double Ratio(double Cost::*field) const { return Median(ours_, field) / Median(peer_, field); }

  // In the form of Google Benchmark's, a row a round.
  bool WriteJson() const {
    std::ofstream file(options_.json);
    file << "{\n  \"benchmarks\": [";
    const char* separator = "\n";
    for (const Side* side : {&ours_, &peer_}) {
      const char* name = side == &ours_ ? "oru" : "zip_and_curl";
      for (const Cost& cost : side->costs) {
        file << separator << "    {\"name\": \"upload/" << name
             << "/megabytes:" << options_.megabytes << (endpoint_.empty() ? "" : "/store")
             << "/real_time\", \"run_type\": \"iteration\""
             << ", \"real_time\": " << cost.wall_s << ", \"cpu_time\": " << cost.cpu_s
             << ", \"time_unit\": \"s\"}";
        separator = ",\n";
      }
    }
    file << "\n  ]\n}\n";
    return file.flush() ? true : Complain("could not write " + options_.json);
  }

  const Options options_;
  std::string scratch_;
  const std::string endpoint_ = Variable("S3_ENDPOINT");
  const std::string access_key_ = Variable("S3_ACCESS_KEY");
  const std::string secret_key_ = Variable("S3_SECRET_KEY");
  Side ours_{"varnook", {}};
  Side peer_{"zip -r and curl -T", {}};
};

}  // namespace
}  // namespace upload_bench

int main(int argc, char** argv) {
  upload_bench::UploadBench bench(upload_bench::ReadOptions(argc, argv));
  return bench.Run() ? 0 : 1;
}

// Turns addresses of a report into names and places in the sources.
#ifndef ORU_REPORT_SYMBOLS_SYMBOL_STORE_H_
#define ORU_REPORT_SYMBOLS_SYMBOL_STORE_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "oru_report/model/report_model.h"
#include "oru_report/symbols/debug_info.h"
#include "oru_report/symbols/parallel_lookup.h"
#include "oru_report/symbols/symbol_index.h"
#include "oru_report/symbols/symbol_table.h"

namespace oru_report {

enum class SymbolState {
  // Functions, files and lines.
  kLines,
  // Names of the symbol table alone.
  kNames,
  kMissing,
  // The image's path, or a file of its name among the user's, holds another build.
  kOtherBuild,
};

// What is known about one image.
struct ImageSymbols {
  SymbolState state = SymbolState::kMissing;
  // The file that is read, or that of the other build with its id.
  std::string path;
  std::string other_id;

  // Empty without a file.
  std::unique_ptr<MappedFile> file;
  BinarySlice slice;
  std::unique_ptr<DebugInfo> lines;
  std::unique_ptr<SymbolTable> names;
  // What was looked up in advance, by the file's own address.
  FramesByAddress prepared;
};

struct SymbolOptions {
  // See SymbolIndex.
  std::vector<std::string> paths;
  // Ask the servers of DEBUGINFOD_URLS.
  bool ask_servers = false;
  // Where the system keeps its packages' debug files, in a folder ".build-id".
  std::string system = "/usr/lib/debug";
};

struct Place {
  // Innermost first; the last one is the function itself. Empty when nothing is known.
  std::vector<SourceFrame> frames;
  // Whether the image's file was read: a name that is in neither its tables nor here is wrong.
  bool file_known = false;
};

// Serves any number of reports; each image and each file is looked for once. A file counts only if
// its id is the report's, so that a rebuilt library never gives wrong names. Not for use from two
// threads at once.
class SymbolStore {
 public:
  explicit SymbolStore(const SymbolOptions& options);
  ~SymbolStore();
  SymbolStore(const SymbolStore&) = delete;
  SymbolStore& operator=(const SymbolStore&) = delete;

  const ImageSymbols& Of(const Image& image);

  // Sentences about the options' paths that cannot be read.
  const std::vector<std::string>& Problems() { return index_.Problems(); }

  // Looks the addresses, which lie in `image`, sorted and each once, up in advance: many at once
  // take a fraction of the time and memory that they take one by one.
  void Prepare(const Image& image, const std::vector<uint64_t>& addresses);

  // What stands at `address`, which lies in `image`.
  Place Find(const Image& image, uint64_t address);

 private:
  using Key = std::pair<std::string, std::string>;

  ImageSymbols* Known(const Image& image);
  std::unique_ptr<ImageSymbols> Load(const Image& image);
  // Both take a file in that is of the image's build and knows more than what was found before.
  // False when it is of no such build. The descriptor is closed.
  bool TryFile(const std::string& path, int descriptor, const Image& image, ImageSymbols* symbols);
  // Another build among the user's files.
  void TryNamed(const Image& image, ImageSymbols* symbols);
  // The file that the report names.
  void TryOwnFile(const Image& image, ImageSymbols* symbols);
  // The servers' debug file, where what was found so far has no lines.
  void TryServers(const Image& image, ImageSymbols* symbols);
  void TakeIn(const std::string& path, int descriptor, const BinarySlice& slice,
              ImageSymbols* symbols);

  SymbolOptions options_;
  SymbolIndex index_;
  // By id and path.
  std::map<Key, std::unique_ptr<ImageSymbols>> known_;
  // By path, what the files that reports named hold: none is opened for an id that it has not.
  std::map<std::string, std::vector<BinarySlice>> own_files_;
};

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_SYMBOL_STORE_H_

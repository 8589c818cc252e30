// Loading of struct description files. The files' rows are joined aside and become the process's tables at the end.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/file.h"
#include "base/log.h"
#include "base/records.h"
#include "sdl/sdltable.h"

namespace vxa::sdl {

namespace {

constexpr std::int32_t kMagic = 7777;
constexpr int kPathListSize = 256;  // of SDLFILE64 or SDLFILE, with the terminator

struct FileHeader {
  std::int32_t magic;
  std::int32_t structs;
  std::int32_t members;
};
static_assert(sizeof(FileHeader) == 12);

// The log codes of reading one of a file's two tables; null: nothing is logged.
struct LogCodes {
  const char* allocation;
  const char* reallocation;
  const char* read_buffer;
  const char* read;
};
constexpr LogCodes kStructCodes{"CLI0119", "CLI0120", "CLI0121", "CLI0122"};
constexpr LogCodes kMemberCodes{"CLI0123", "CLI0124", "CLI0125", nullptr};

void open_failed(const char* path) { log_record(SystemError::Append, 2, "CLI0116", "0010 file open error : %s", path); }

// A block is read as one item, of which a short read got none.
void read_failed(const char* code, std::int64_t size) {
  log_record(SystemError::Append, 2, code, "0011 file read error : %d %d", 0, static_cast<int>(size));
}

void allocation_failed(const char* code, const char* text, std::int64_t size) {
  log_record(SystemError::Omit, 1, code, text, static_cast<int>(size));
}

// Logs why added bytes of rows could not be read behind the held ones.
void report(Appending failure, const LogCodes& codes, std::int64_t held, std::int64_t added) {
  static constexpr const char* kAllocation = "0005 memory allocation error : size = %d";
  static constexpr const char* kReallocation = "0006 memory reallocation error : size = %d";
  switch (failure) {
    case Appending::kNoTable:
      if (held == 0) return allocation_failed(codes.allocation, kAllocation, added);
      return allocation_failed(codes.reallocation, kReallocation, held + added);
    case Appending::kNoBuffer:
      return allocation_failed(codes.read_buffer, kAllocation, added);
    case Appending::kShortRead:
      if (codes.read) read_failed(codes.read, added);
      break;
    case Appending::kDone:
      break;
  }
}

// The rows of one kind of the files read so far.
template <class Row>
struct Table {
  // Reads added rows behind the held ones; they are not counted yet. No rows at all count as a failed read.
  bool append(std::int32_t added, std::FILE* file, const LogCodes& codes) {
    constexpr std::int64_t kRow{sizeof(Row)};
    const Appending outcome = added > 0 ? append_records(rows, count, added, file) : Appending::kShortRead;
    if (outcome == Appending::kDone) return true;
    report(outcome, codes, kRow * count, kRow * added);
    return false;
  }

  HeapPtr<Row> rows;
  std::int32_t count = 0;
};

// Lets each new struct's range of members begin behind that of the struct before it, whatever its file said.
void renumber(StructRow* row, const StructRow* end) {
  for (; row != end; ++row) {
    const auto distance = static_cast<std::uint32_t>(row->last) - static_cast<std::uint32_t>(row->first);
    const auto first = static_cast<std::uint32_t>(row[-1].last) + 1;
    row->first = static_cast<std::int32_t>(first);
    row->last = static_cast<std::int32_t>(first + distance);
  }
}

enum class FileOutcome {
  kLoaded,
  kRefused,  // not a struct description file; nothing was read from it
  kBroken,   // cut short, or no memory
};

class JoinedTables {
 public:
  FileOutcome add(const char* path) {
    const FilePtr file{std::fopen(path, "rb")};
    if (!file) {
      open_failed(path);
      return FileOutcome::kRefused;
    }
    FileHeader header;
    if (!read_header(file.get(), header)) return FileOutcome::kRefused;
    if (!structs_.append(header.structs, file.get(), kStructCodes)) return FileOutcome::kBroken;
    if (!members_.append(header.members, file.get(), kMemberCodes)) return FileOutcome::kBroken;
    StructRow* added = structs_.rows.get() + structs_.count;
    if (structs_.count != 0) renumber(added, added + header.structs);
    structs_.count += header.structs;
    members_.count += header.members;
    return FileOutcome::kLoaded;
  }

  bool empty() const { return structs_.count == 0; }

  // Puts the tables in the place of those of an earlier load; tables that the host has set itself stay the host's.
  void publish() {
    static StructRow* published_structs = nullptr;
    static MemberRow* published_members = nullptr;
    const HeapPtr<StructRow> old_structs{published_structs};
    const HeapPtr<MemberRow> old_members{published_members};
    _sdl_table = published_structs = structs_.rows.release();
    _sdl_field_table = published_members = members_.rows.release();
    _sdl_table_size = structs_.count;
    _sdl_field_table_size = members_.count;
  }

 private:
  static bool read_header(std::FILE* file, FileHeader& header) {
    if (!read_item(file, &header, sizeof header)) {
      read_failed("CLI0117", sizeof header);
      return false;
    }
    if (header.magic == kMagic) return true;
    log_record(SystemError::Omit, 2, "CLI0118", "3005 Invalid magic number of SDL file");
    return false;
  }

  Table<StructRow> structs_;
  Table<MemberRow> members_;
};

// An unset list counts as an empty one.
const char* path_list() {
  const char* list = std::getenv("SDLFILE64");
  if (!list) list = std::getenv("SDLFILE");
  return list ? list : "";
}

// A file that cannot be opened or is none leaves what the files before it gave; one that is cut short leaves nothing.
bool load() {
  const char* list = path_list();
  char paths[kPathListSize];
  if (std::strlen(list) >= sizeof paths) {
    errno = ENAMETOOLONG;
    open_failed(list);
    return false;
  }
  std::strcpy(paths, list);

  JoinedTables tables;
  FileOutcome outcome = FileOutcome::kLoaded;
  char* rest = nullptr;
  for (const char* path = strtok_r(paths, ",", &rest); path && outcome == FileOutcome::kLoaded;
       path = strtok_r(nullptr, ",", &rest))
    outcome = tables.add(path);
  if (outcome == FileOutcome::kBroken) tables = JoinedTables{};
  if (outcome == FileOutcome::kBroken || !tables.empty()) tables.publish();
  if (outcome != FileOutcome::kLoaded) return false;
  _sdlfile_loadsw = 1;
  return true;
}

}  // namespace

}  // namespace vxa::sdl

extern "C" int _sdlfile_load() { return vxa::sdl::load() ? 1 : -1; }

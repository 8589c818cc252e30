// Loading of field table files. The files' tables are joined aside and become the process's table when all were read.
#include "fb/fdlfile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/file.h"
#include "base/log.h"
#include "base/records.h"

int _fname_fldkey_tab_loaded = 0;
vxa::fdl::NameRecord* _fldname = nullptr;
vxa::fdl::KeyRecord* _fldkey = nullptr;
int _fname_count = 0;
int _fldkey_count = 0;
int _fname_hash_mask = 0;

namespace vxa::fdl {

namespace {

constexpr int kPathListSize = 256;  // of FDLFILE, with the terminator

// The log codes of reading one of a file's two tables.
struct LogCodes {
  const char* allocation;
  const char* reallocation;
  const char* read_buffer;
  const char* read;
};
constexpr LogCodes kNameTable{"FDL0506", "FDL0507", "FDL0508", "FDL0509"};
constexpr LogCodes kKeyTable{"FDL0510", "FDL0511", "FDL0512", "FDL0513"};

bool open_failed(const char* path) {
  log_record(SystemError::Append, 2, "FDL0502", "0010 file open error : %s", path);
  return false;
}

// A read is one item, of which a short read got none.
bool read_failed(const char* code, std::int64_t size) {
  log_record(SystemError::Append, 2, code, "0011 file read error : %d %d", 0, static_cast<int>(size));
  return false;
}

bool allocation_failed(const char* code, std::int64_t size) {
  log_record(SystemError::Omit, 2, code, "0004 memory allocation error : size = %d", static_cast<int>(size));
  return false;
}

// Reads count records from the file and puts them behind the held ones of the table.
template <class T>
bool append(HeapPtr<T>& table, int held, int count, std::FILE* file, const LogCodes& codes) {
  constexpr std::int64_t kRecord{sizeof(T)};
  const std::int64_t size = kRecord * count;
  const std::int64_t total = kRecord * held + size;
  const char* growth_code = table ? codes.reallocation : codes.allocation;
  switch (append_records(table, held, count, file)) {
    case Appending::kNoTable:
      return allocation_failed(growth_code, total);
    case Appending::kNoBuffer:
      return allocation_failed(codes.read_buffer, size);
    case Appending::kShortRead:
      return read_failed(codes.read, size);
    case Appending::kDone:
      break;
  }
  return true;
}

// The tables of the files read so far.
class JoinedTables {
 public:
  bool add(const char* path) {
    const FilePtr file{std::fopen(path, "rb")};
    if (!file) return open_failed(path);
    FileHeader header;
    if (!read_header(file.get(), path, header)) return false;
    if (!append(names_, count_, header.slots, file.get(), kNameTable)) return false;
    if (!append(keys_, count_, header.slots, file.get(), kKeyTable)) return false;
    shift_name_indexes(header.slots);
    count_ += header.slots;
    mask_ += header.slots - 1;
    ++files_;
    return true;
  }

  void publish() {
    _fldname = names_.release();
    _fldkey = keys_.release();
    _fname_count = _fldkey_count = count_;
    _fname_hash_mask = files_ == 1 ? mask_ : mask_ + 1;
    _fname_fldkey_tab_loaded = 1;
  }

 private:
  static bool read_header(std::FILE* file, const char* path, FileHeader& header) {
    if (!read_item(file, &header, sizeof header)) return read_failed("FDL0503", sizeof header);
    if (header.magic != kMagic) {
      log_record(SystemError::Omit, 2, "FDL0504", "4408 Invalid magic number of FDL : %d",
                 static_cast<int>(header.magic));
      return false;
    }
    if (header.slots <= 0) {
      log_record(SystemError::Omit, 2, "FDL0505", "4507 FDL table size is zero : %s", path);
      return false;
    }
    return true;
  }

  // Turns the new key records' indexes within their file into indexes within the joined table. One that lies outside
  // its file's name table leads to no name.
  void shift_name_indexes(int added) {
    for (KeyRecord *record = keys_.get() + count_, *end = record + added; record != end; ++record) {
      const bool named = record->name >= 0 && record->name < added;
      record->name = named ? record->name + count_ : kNoName;
    }
  }

  HeapPtr<NameRecord> names_;
  HeapPtr<KeyRecord> keys_;
  int count_ = 0;
  int mask_ = 0;
  int files_ = 0;
};

}  // namespace

bool load() {
  unload();
  const char* list = std::getenv("FDLFILE");
  if (!list) {
    log_record(SystemError::Omit, 2, "FDL0501", "0100 getenv error : ");
    return false;
  }
  char paths[kPathListSize];
  if (std::strlen(list) >= sizeof paths) {
    errno = ENAMETOOLONG;
    return open_failed(list);
  }
  std::strcpy(paths, list);

  JoinedTables tables;
  char* rest = nullptr;
  for (const char* path = strtok_r(paths, ",", &rest); path; path = strtok_r(nullptr, ",", &rest))
    if (!tables.add(path)) return false;
  tables.publish();
  return true;
}

void unload() {
  const HeapPtr<NameRecord> names{_fldname};
  const HeapPtr<KeyRecord> keys{_fldkey};
  _fldname = nullptr;
  _fldkey = nullptr;
  _fname_count = _fldkey_count = 0;
  _fname_hash_mask = 0;
  _fname_fldkey_tab_loaded = 0;
}

}  // namespace vxa::fdl

extern "C" int _ffile_load() { return vxa::fdl::load() ? 1 : -1; }

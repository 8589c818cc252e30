// Trailers: tagged entries behind a typed buffer's data, in the reserve that every typed buffer has for them.
//
// An entry is a tag byte, a length byte and the data. The entries are the last bytes of the payload and are counted in
// datalen; their number of bytes is in the low byte of the control word. While there are any, the size word counts the
// reserve as well. Control word, datalen and size are held against each other before anything is touched: a resized or
// received buffer may carry any of them.
#include <cstring>

#include "base/log.h"
#include "wire/header.h"

namespace vxa::trailer {

namespace {

constexpr std::int64_t kEntryHead = 2;
constexpr std::int64_t kLongestData = kTrailerReserve - kEntryHead;

struct Entry {
  char* at;  // null: there is none
  std::int64_t data_length() const { return static_cast<unsigned char>(at[1]); }
  std::int64_t length() const { return kEntryHead + data_length(); }
  const char* data() const { return at + kEntryHead; }
};

// The bytes of all entries. Null when the control word, datalen and size contradict each other.
struct Area {
  explicit Area(MsgHeader* header) {
    const std::int64_t length = trailer_length(header);
    const std::int64_t block = std::int64_t{header->size} + kTrailerReserve;
    if (length > kTrailerReserve || length > header->datalen || header->datalen > block) return;
    end = payload_of(header) + header->datalen;
    begin = end - length;
  }

  bool sound() const { return end != nullptr; }

  // The first entry with the tag.
  Entry find(int tag) const {
    for (char* at = begin; end - at >= kEntryHead; at += Entry{at}.length()) {
      if (Entry{at}.length() > end - at) break;
      if (static_cast<unsigned char>(*at) == static_cast<unsigned char>(tag)) return {at};
    }
    return {nullptr};
  }

  char* begin = nullptr;
  char* end = nullptr;
};

void set_length(MsgHeader* header, std::int64_t length) {
  header->reqctl = (header->reqctl & ~kTrailerLengthMask) | static_cast<std::uint32_t>(length);
}

void add_to(std::int32_t& word, std::int64_t bytes) { word = static_cast<std::int32_t>(word + bytes); }

// Turns the free reserve into an empty trailer.
void open_area(MsgHeader* header) {
  header->reqctl = (header->reqctl & ~(kTrailerFree | kTrailerLengthMask)) | kTrailerPresent;
  add_to(header->size, kTrailerReserve);
}

void close_area(MsgHeader* header) {
  header->reqctl = (header->reqctl & ~kTrailerPresent) | kTrailerFree;
  add_to(header->size, -kTrailerReserve);
}

void append(MsgHeader* header, const void* data, int tag, std::int64_t length) {
  char* at = payload_of(header) + header->datalen;
  at[0] = static_cast<char>(tag);
  at[1] = static_cast<char>(length);
  std::memcpy(at + kEntryHead, data, static_cast<std::size_t>(length));
  set_length(header, trailer_length(header) + kEntryHead + length);
  add_to(header->datalen, kEntryHead + length);
}

bool add(MsgHeader* header, const void* data, int tag, std::int64_t length) {
  if (!header || !data || length < 1 || length > kLongestData || header->datalen < 0) return false;
  if (header->reqctl & kTrailerFree) {
    if (header->datalen > header->size || header->size > INT32_MAX - kTrailerReserve) return false;
    open_area(header);
  } else {
    const std::int64_t needed = kEntryHead + length;
    if (!(header->reqctl & kTrailerPresent) || !Area{header}.sound()) return false;
    if (trailer_length(header) + needed > kTrailerReserve || header->datalen + needed > header->size) return false;
  }
  append(header, data, tag, length);
  return true;
}

Entry find(MsgHeader* header, int tag) { return header ? Area{header}.find(tag) : Entry{nullptr}; }

// Copies an entry's data out when it fits in room bytes. Gives the bytes copied.
int copy_out(const Entry& entry, void* out, int room) {
  if (room < entry.data_length()) return 0;
  std::memcpy(out, entry.data(), static_cast<std::size_t>(entry.data_length()));
  return static_cast<int>(entry.data_length());
}

void remove(MsgHeader* header, const Entry& entry) {
  const std::int64_t length = entry.length();
  const char* behind = entry.at + length;
  const char* end = Area{header}.end;
  std::memmove(entry.at, behind, static_cast<std::size_t>(end - behind));
  set_length(header, trailer_length(header) - length);
  add_to(header->datalen, -length);
  if (trailer_length(header) == 0) close_area(header);
}

}  // namespace

}  // namespace vxa::trailer

using namespace vxa;

extern "C" int _vesk_add_trailer(MsgHeader* header, const void* data, int tag, int length) {
  if (trailer::add(header, data, tag, length)) return 1;
  log_record(SystemError::Omit, 2, "COM0050", "0209 internal error : trailer error");
  return -1;
}

extern "C" int _vesk_find_trailer(MsgHeader* header, void* out, int tag, int* length) {
  const trailer::Entry entry = trailer::find(header, tag);
  if (!entry.at) return 0;
  if (out && length && *length >= 1) *length = trailer::copy_out(entry, out, *length);
  return 1;
}

extern "C" int _vesk_del_trailer(MsgHeader* header, void* out, int tag, int* length) {
  const trailer::Entry entry = trailer::find(header, tag);
  if (!entry.at) return 0;
  if (length) *length = out ? trailer::copy_out(entry, out, *length) : 0;
  trailer::remove(header, entry);
  return 1;
}

// Argument vectors, and small texts: splitting into words, joining, blank texts, service names.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "base/heap.h"
#include "base/log.h"
#include "base/text.h"
#include "vxa/vxa_host.h"

namespace vxa::env {

namespace {

constexpr int kSpareSlots = 5;  // of a vector, for the terminator and for arguments that its owner adds

void report_shortage(SystemError system_error, const char* code, std::int64_t size) {
  log_record(system_error, 2, code, "0004 memory allocation error : size = %d", static_cast<int>(size));
}

// Calls visit(begin, end) for each word of the text.
template <class Char, class Visit>
void for_each_word(Char* text, Visit visit) {
  for (Char* at = text; *at;) {
    while (is_space(*at)) ++at;
    Char* const begin = at;
    while (*at && !is_space(*at)) ++at;
    if (at == begin) return;
    Char* const end = at;
    if (*at) ++at;
    visit(begin, end);
  }
}

// The vector and, behind it in the same block, the text with its words terminated.
HeapPtr<char*> split(const char* text, int* count) {
  std::int64_t words = 0;
  for_each_word(text, [&](const char*, const char*) { ++words; });
  const std::size_t text_size = std::strlen(text) + 1;
  const std::int64_t vector_size = (words + kSpareSlots) * static_cast<std::int64_t>(sizeof(char*));
  const std::int64_t size = vector_size + static_cast<std::int64_t>(text_size);
  HeapPtr<char*> vector = heap_alloc_zeroed<char*>(size);
  if (!vector) {
    report_shortage(SystemError::Append, "COM0028", size);
    return nullptr;
  }
  char* copy = reinterpret_cast<char*>(vector.get()) + vector_size;
  std::memcpy(copy, text, text_size);
  char** next = vector.get();
  for_each_word(copy, [&](char* begin, char* end) {
    *end = '\0';
    *next++ = begin;
  });
  *count = static_cast<int>(words);
  return vector;
}

// The texts in front of the null, as far as the limit goes.
int texts_in(char* const* vector, int limit) {
  int count = 0;
  while (vector && count < limit && vector[count]) ++count;
  return count;
}

HeapPtr<char> join(int count, char* const* texts) {
  std::int64_t size = 1;
  for (int i = 0; i < count; ++i) size += static_cast<std::int64_t>(std::strlen(texts[i])) + 1;
  HeapPtr<char> joined = heap_alloc<char>(size);
  if (!joined) {
    report_shortage(SystemError::Omit, "COM0027", size);
    return nullptr;
  }
  char* end = joined.get();
  for (int i = 0; i < count; ++i) {
    end = stpcpy(end, texts[i]);
    *end++ = ' ';
  }
  *end = '\0';
  return joined;
}

HeapPtr<char> command_line(const char* command, const char* arguments) {
  const std::int64_t size = static_cast<std::int64_t>(std::strlen(command) + std::strlen(arguments)) + 2;
  HeapPtr<char> line = heap_alloc<char>(size);
  if (!line) {
    report_shortage(SystemError::Omit, "COM0026", size);
    return nullptr;
  }
  std::strcpy(stpcpy(stpcpy(line.get(), command), " "), arguments);
  return line;
}

}  // namespace

}  // namespace vxa::env

using namespace vxa;

extern "C" char** _vesk_build_argv_argc(const char* text, int* count) {
  int words = 0;
  char** vector = env::split(text ? text : "", &words).release();
  if (vector && count) *count = words;
  return vector;
}

extern "C" char** _vesk_build_argv(const char* command, const char* arguments) {
  const HeapPtr<char> line = env::command_line(command ? command : "", arguments ? arguments : "");
  if (!line) return nullptr;
  int words = 0;
  return env::split(line.get(), &words).release();
}

extern "C" char* _vesk_mkstr_from_argv(int count, char* const* vector) {
  return env::join(env::texts_in(vector, count), vector).release();
}

extern "C" int _get_argc_from_argv(char* const* vector) { return env::texts_in(vector, INT_MAX); }

extern "C" int is_null_data(const char* text) {
  if (!text) return 1;
  return std::all_of(text, text + std::strlen(text), is_space) ? 1 : 0;
}

extern "C" int _make_svcname_from_prodno_funcname(int product, const char* function, char* out) {
  if (!function || !out) return -1;
  std::sprintf(out, "p%04d_%s", product, function);
  return 1;
}

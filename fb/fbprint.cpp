// The readable listing of a field buffer, a line for each record.
#include <cctype>
#include <cstdio>

#include "fb/fbcommon.h"
#include "fb/fberror.h"
#include "fb/fbmap.h"

namespace vxa::fb {

namespace {

const char* name_or_nothing(FieldKey key) {
  const Result<const char*> name = name_of(static_cast<int>(key.word()));
  return name ? name.value() : "";
}

// Readable bytes as they are, a backslash doubled, any other byte in hexadecimal behind one.
void print_bytes(Record record, std::FILE* stream) {
  const char* bytes = record.value();
  for (std::uint32_t at = 0; at < record.carray_length(); ++at) {
    const int byte = static_cast<unsigned char>(bytes[at]);
    if (byte == '\\')
      std::fputs("\\\\", stream);
    else if (std::isprint(byte))
      std::fputc(byte, stream);
    else
      std::fprintf(stream, "\\%x", byte);
  }
}

void print_value(Record record, std::FILE* stream) {
  const char* value = record.value();
  switch (record.type()) {
    case kChar:
      std::fprintf(stream, "value = %c \n", *value);
      break;
    case kShort:
      std::fprintf(stream, "value = %d \n", load<std::int16_t>(value));
      break;
    case kInt:
    case kLong:
      std::fprintf(stream, "value = %d \n", load<std::int32_t>(value));
      break;
    case kFloat:
      std::fprintf(stream, "value = %f \n", static_cast<double>(load<float>(value)));
      break;
    case kDouble:
      std::fprintf(stream, "value = %f \n", load<double>(value));
      break;
    case kString:
      std::fprintf(stream, "value = %s \n", value);
      break;
    case kCarray:
      std::fprintf(stream, "len = %d, value =", static_cast<int>(record.carray_length()));
      print_bytes(record, stream);
      std::fputc('\n', stream);
      break;
  }
}

void print_record(Record record, std::FILE* stream) {
  const FieldKey key = record.key().unmarked();
  std::fputs(record.key().fetched() ? "(r) " : "    ", stream);
  if (!type_known(key.type())) {
    std::fprintf(stream, "type error: %d \n", key.type());
    return;
  }
  std::fprintf(stream, "fkey = %d, fname = %s, type = %s, ", static_cast<int>(key.word()), name_or_nothing(key),
               type_name(key.type()));
  print_value(record, stream);
}

Outcome print(FieldBuffer buffer, std::FILE* stream) {
  if (!buffer.valid()) {
    std::fprintf(stream, "FDL magic error: %d\n", static_cast<int>(magic_of(buffer.data())));
    return Error{FBEBADFB};
  }
  for (const Record record : buffer.records()) print_record(record, stream);
  return success();
}

}  // namespace

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" int fbfprint(const void* buf, FILE* stream) {
  static constexpr ApiTexts texts{"fbfprint", "fbfprint(%#x, %#x)", "fbfprint = %d", "fbfprint = -1 [%d : %s]"};
  const FbCall call{texts, buf, stream};
  if (!buf || !stream) return call.fail(FBEINVAL);
  return call.finish(print(FieldBuffer{buf}, stream));
}

extern "C" int fbprint(const void* buf) {
  static constexpr ApiTexts texts{"fbprint", "fbprint(%#x)", "fbprint = 1", "fbprint = -1 [%d : %s]"};
  const FbCall call{texts, buf};
  if (!buf) return call.fail(FBEINVAL);
  const Outcome printed = print(FieldBuffer{buf}, stdout);
  return printed ? call.done_as(texts.success, 1) : call.fail(printed.code());
}

// The public calls on single fields.
#include "fb/fberror.h"
#include "fb/fields.h"

using namespace vxa;
using namespace vxa::fb;

extern "C" int fbput(void* buf, int key, const void* value, int len) {
  static constexpr ApiTexts texts{"fbput", "fbput(%#x, %d, %#x, %d)", "fbput = %d", "fbput = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, value, len};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(put(FieldBuffer{buf}, FieldKey{key}, Value{value, len}));
}

// The untraced append, for values in the form in which buffers keep them.
extern "C" int _fbput(void* buf, int key, const void* value, int len) {
  const Outcome outcome =
      buf ? put(FieldBuffer{buf}, FieldKey{key}, Value{value, len}, LongForm::Stored) : Outcome{Error{FBEINVAL}};
  fberror = outcome.code();
  return outcome.failed() ? -1 : outcome.value();
}

extern "C" int fbinsert(void* buf, int key, int nth, const void* value, int len) {
  static constexpr ApiTexts texts{"fbinsert", "fbinsert(%#x, %d, %d, %#x, %d)", "fbinsert = %d",
                                  "fbinsert = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, nth, value, len};
  if (!buf || nth < 0) return call.fail(FBEINVAL);
  return call.finish(insert(FieldBuffer{buf}, FieldKey{key}, nth, Value{value, len}));
}

extern "C" int fbupdate(void* buf, int key, int nth, const void* value, int len) {
  static constexpr ApiTexts texts{"fbupdate", "fbupdate(%#x, %d, %d, %#x, %d)", "fbupdate = %d",
                                  "fbupdate = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, nth, value, len};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(update(FieldBuffer{buf}, FieldKey{key}, nth, Value{value, len}));
}

extern "C" int fbdelete(void* buf, int key, int nth) {
  static constexpr ApiTexts texts{"fbdelete", "fbdelete(%#x, %d, %d)", "fbdelete = %d", "fbdelete = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, nth};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(erase(FieldBuffer{buf}, FieldKey{key}, nth));
}

extern "C" int fbdelall(void* buf, int key) {
  static constexpr ApiTexts texts{"fbdelall", "fbdelall(%#x, %d)", "fbdelall = %d", "fbdelall = -1 [%d : %s]"};
  const FbCall call{texts, buf, key};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(erase_all(FieldBuffer{buf}, FieldKey{key}));
}

extern "C" int fbget(void* buf, int key, void* value, int* len) {
  static constexpr ApiTexts texts{"fbget", "fbget(%#x, %d, %#x, %#x)", "fbget = %d", "fbget = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, value, len};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(fetch(FieldBuffer{buf}, FieldKey{key}, value, len));
}

extern "C" int fbgetf(void* buf, int key, void* value, int* len, int* pos) {
  static constexpr ApiTexts texts{"fbgetf", "fbgetf(%#x, %d, %#x, %#x, %#x)", "fbgetf = %d", "fbgetf = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, value, len, pos};
  if (!buf || !pos) return call.fail(FBEINVAL);
  return call.finish(fetch_from(FieldBuffer{buf}, FieldKey{key}, value, len, *pos));
}

extern "C" void* fbgetval(const void* buf, int key, int nth, int* len) {
  static constexpr ApiTexts texts{"fbgetval", "fbgetval(%#x, %d, %d, %#x)", "fbgetval = %#x",
                                  "fbgetval = NULL [%d : %s]"};
  const FbCall call{texts, buf, key, nth, len};
  if (!buf) return call.fail(FBEINVAL);
  const Record record = find(FieldBuffer{buf}, FieldKey{key}, nth);
  if (!record) return call.fail(FBENOENT);
  if (len) *len = told_length(record);
  return call.done(static_cast<void*>(record.value()));
}

extern "C" int fbgetlen(const void* buf, int key, int nth) {
  static constexpr ApiTexts texts{"fbgetlen", "fbgetlen(%#x, %d, %d)", "fbgetlen = %d", "fbgetlen = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, nth};
  if (!buf) return call.fail(FBEINVAL);
  const Record record = find(FieldBuffer{buf}, FieldKey{key}, nth);
  if (!record) return call.fail(FBENOENT);
  const int length = told_length(record);
  return length < 0 ? call.report_failure() : call.done(length);
}

// A failed search is a failure without a code.
extern "C" int fbgetnth(const void* buf, int key, const void* value, int len) {
  static constexpr ApiTexts texts{"fbgetnth", "fbgetnth(%#x, %d, %#x, %d)", "fbgetnth = %d", "fbgetnth = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, value, len};
  if (!buf) return call.fail(FBEINVAL);
  const Result<int> found = find_value(FieldBuffer{buf}, FieldKey{key}, Value{value, len});
  return found && found.value() < 0 ? call.report_failure() : call.finish(found);
}

extern "C" int fbkeyoccur(const void* buf, int key) {
  static constexpr ApiTexts texts{"fbkeyoccur", "fbkeyoccur(%#x, %d)", "fbkeyoccur = %d", "fbkeyoccur = -1 [%d : %s]"};
  const FbCall call{texts, buf, key};
  if (!buf) return call.fail(FBEINVAL);
  return call.done(count(FieldBuffer{buf}, FieldKey{key}));
}

extern "C" int fbispres(const void* buf, int key, int nth) {
  static constexpr ApiTexts texts{"fbispres", "fbispres(%#x, %d, %d)", nullptr, "fbispres = 0 [%d : %s]"};
  const FbCall call{texts, buf, key, nth};
  if (!buf) return call.fail_giving(0, FBEINVAL);
  return find(FieldBuffer{buf}, FieldKey{key}, nth) ? call.done_as("fbispres = 1", 1) : call.done_as("fbispres = 0", 0);
}

extern "C" int fbfldcount(const void* buf) {
  static constexpr ApiTexts texts{"fbfldcount", "fbfldcount(%#x)", "fbfldcount = %d", "fbfldcount = 0 [%d : %s]"};
  const FbCall call{texts, buf};
  if (!buf) return call.fail_giving(0, FBEINVAL);
  return call.done(count_records(FieldBuffer{buf}));
}

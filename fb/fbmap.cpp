// Field keys and their names: the make-up of keys, and lookups in the loaded field table.
#include "fb/fbmap.h"

#include <cstring>
#include <iterator>

#include "base/log.h"
#include "fb/fbcommon.h"
#include "fb/fberror.h"
#include "fb/fdlfile.h"

const char* const _fdl_type_name[10] = {"", "char", "short", "int", "long", "float", "double", "string", "carray", ""};

namespace vxa::fb {

namespace {

constexpr int kNotFound = -1;

int name_slot(const char* name) { return fdl::name_hash(name, _fname_hash_mask); }

int key_slot(int key) { return fdl::key_hash(static_cast<std::uint32_t>(key), _fname_hash_mask, _fldkey_count); }

// The first slot that matches, of count slots in a circle from start.
template <class Matches>
int scan(int start, int count, Matches matches) {
  for (int at = start; at < count; ++at)
    if (matches(at)) return at;
  for (int at = 0; at < start && at < count; ++at)
    if (matches(at)) return at;
  return kNotFound;
}

// A name that fills its record is not terminated, and none that is looked for can equal it.
int find_name(const char* name) {
  if (_fname_count == 0 || strnlen(name, fdl::kNameSize) == fdl::kNameSize) return kNotFound;
  return scan(name_slot(name), _fname_count,
              [name](int at) { return std::strncmp(_fldname[at].name, name, fdl::kNameSize) == 0; });
}

int find_key(int key) {
  return scan(key_slot(key), _fldkey_count,
              [word = static_cast<std::uint32_t>(key)](int at) { return _fldkey[at].key == word; });
}

bool table_ready(const char* log_code) {
  if (_fname_fldkey_tab_loaded || fdl::load()) return true;
  log_record(SystemError::Omit, 2, log_code, "3007 failed to load field key table");
  return false;
}

}  // namespace

Result<int> key_of(const char* name) {
  if (!table_ready("FDL0801")) return Error{kNoFieldTable};
  const int at = find_name(name);
  if (at == kNotFound) return Error{FBENOENT};
  return static_cast<int>(_fldname[at].key);
}

Result<const char*> name_of(int key) {
  if (!table_ready("FDL0806")) return Error{kNoFieldTable};
  const int at = find_key(key);
  if (at == kNotFound || _fldkey[at].name == fdl::kNoName) return Error{FBENOENT};
  const char* name = _fldname[_fldkey[at].name].name;
  if (strnlen(name, fdl::kNameSize) == fdl::kNameSize) return Error{FBENOENT};
  return name;
}

const char* type_name(int type) {
  return type >= 0 && type < static_cast<int>(std::size(_fdl_type_name)) ? _fdl_type_name[type] : "";
}

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" int _fname_hash(const char* name) { return name_slot(name); }

extern "C" int _fldkey_hash(int key) { return key_slot(key); }

extern "C" int _find_fnamei_by_fname(const char* name) { return find_name(name); }

extern "C" int _find_fldkeyi_by_fldkey(int key) { return find_key(key); }

extern "C" int fbget_fldkey(const char* name) {
  static constexpr ApiTexts texts{"fbget_fldkey", "fbget_fldkey(\"%s\")", "fbget_fldkey = %d",
                                  "fbget_fldkey = %d [%d : %s]"};
  const FbCall call{texts, name ? name : ""};
  if (!name) return call.fail_with(0, FBEINVAL);
  const Result<int> key = key_of(name);
  if (key.failed()) return call.fail_with(0, key.code());
  return call.done(key.value());
}

extern "C" const char* fbget_fldname(int key) {
  static constexpr ApiTexts texts{"fbget_fldname", "fbget_fldname(%d)", "fbget_fldname = %s",
                                  "fbget_fldname = NULL [%d : %s]"};
  const FbCall call{texts, key};
  const Result<const char*> name = name_of(key);
  if (name.failed() && name.code() == kNoFieldTable)
    return call.fail_as("fbget_fldname = %d [%d : %s]", name.code(), 0);
  return call.finish(name);
}

extern "C" int fbget_fldno(int key) {
  static constexpr ApiTexts texts{"fbget_fldno", "fbget_fldno(%d)", "fbget_fldno = %d", nullptr};
  const FbCall call{texts, key};
  return call.done(FieldKey{key}.number());
}

extern "C" int fbget_fldtype(int key) {
  static constexpr ApiTexts texts{"fbget_fldtype", "fbget_fldtype(%d)", "fbget_fldtype = %d", nullptr};
  const FbCall call{texts, key};
  return call.done(FieldKey{key}.type());
}

extern "C" const char* fbget_strfldtype(int key) {
  static constexpr ApiTexts texts{"fbget_strfldtype", "fbget_strfldtype(%d)", "fbget_strfldtype = %s", nullptr};
  const FbCall call{texts, key};
  return call.done(type_name(FieldKey{key}.type()));
}

// Alone among the field-buffer calls it leaves fberror as it was.
extern "C" int fbmake_fldkey(int type, int number) {
  static constexpr ApiTexts texts{"fbmake_fldkey", "fbmake_fldkey(%d, %d)", "fbmake_fldkey = %d", nullptr};
  const FbCall call{keep_code, texts, type, number};
  return call.done(FieldKey::made_of(type, number));
}

extern "C" void fbkeynm_unload() {
  static constexpr ApiTexts texts{"fbkeynm_unload", "fbkeynm_unload(void)", "fbkeynm_unload", nullptr};
  const FbCall call{texts};
  fdl::unload();
  call.done_as(texts.success, 0);
}

extern "C" void fbnmkey_unload() {
  static constexpr ApiTexts texts{"fbnmkey_unload", "fbget_unload(void)", "fbget_unload", nullptr};
  const FbCall call{texts};
  fdl::unload();
  call.done_as(texts.success, 0);
}

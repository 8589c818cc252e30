// Names of fields and types. The first lookup by name or key loads the field table.
#pragma once

#include "base/export.h"
#include "base/result.h"
#include "vxa/fbuf.h"

namespace vxa::fb {

// Why a lookup failed, beside FBENOENT: there is no field table, which the lookup has logged.
inline constexpr int kNoFieldTable = FBEMINNO;

Result<int> key_of(const char* name);

// The name is a text inside the loaded table and lives as long as that.
Result<const char*> name_of(int key);

// The name of a type code; empty for codes that are none.
const char* type_name(int type);

}  // namespace vxa::fb

VXA_EXPORT const char* const _fdl_type_name[10];
VXA_EXPORT int _fname_hash(const char* name);
VXA_EXPORT int _fldkey_hash(int key);
VXA_EXPORT int _find_fnamei_by_fname(const char* name);
VXA_EXPORT int _find_fldkeyi_by_fldkey(int key);

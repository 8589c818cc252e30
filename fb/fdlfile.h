// The field table of the process: the records of all FDL files that the environment variable FDLFILE names.
#pragma once

#include <cstdint>

#include "base/export.h"
#include "fb/fdlformat.h"

namespace vxa::fdl {

// Replaces the table by what FDLFILE names. On failure, which is logged, no table is loaded.
bool load();

// Releases the table, and with it every name that was handed out.
void unload();

}  // namespace vxa::fdl

VXA_EXPORT int _fname_fldkey_tab_loaded;
VXA_EXPORT vxa::fdl::NameRecord* _fldname;
VXA_EXPORT vxa::fdl::KeyRecord* _fldkey;
VXA_EXPORT int _fname_count;
VXA_EXPORT int _fldkey_count;  // always _fname_count
VXA_EXPORT int _fname_hash_mask;
VXA_EXPORT int _ffile_load();

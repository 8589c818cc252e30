// What every test program starts from: the framework and its matchers, the host that the library runs in, and its
// public headers.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/host.h"
#include "tests/support/temp_dir.h"
#include "vxa/fbuf.h"
#include "vxa/vxa_host.h"
#include "vxa/xa.h"
#include "vxa/xatmi.h"

using host::bytes;
using host::Environment;
using host::LogRecord;
using host::TempDir;
using host::TraceEvent;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

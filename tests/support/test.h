// What every test program starts from: the framework and its matchers, the host that the library runs in, and its
// public headers.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <tuple>
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
using host::take_log;
using host::TempDir;
using host::TraceEvent;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What it prints on standard output.
template <class Work>
std::string printed(Work work) {
  testing::internal::CaptureStdout();
  work();
  return testing::internal::GetCapturedStdout();
}

// What the exception says that ends it; nothing when none does.
template <class Work>
std::string thrown(Work work) {
  try {
    work();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

// Whether the library has logged exactly these records since the last look.
inline testing::AssertionResult logged(const std::vector<LogRecord>& expected) {
  const std::vector<LogRecord> records = take_log();
  if (records == expected) return testing::AssertionSuccess();
  testing::AssertionResult failure = testing::AssertionFailure() << records.size() << " records were logged";
  for (const LogRecord& r : records) failure << "\n" << r.flag << " " << r.level << " " << r.code << " " << r.text;
  return failure;
}

#include "cli/exit_codes.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "core/device-settings/setting_error.h"
#include "core/files/files_error.h"

namespace lumivale::cli {
namespace {

TEST(ExitCodesTest, WhatTheUserTypedIsUsageAndEverythingElseAFailure) {
  EXPECT_EQ(exitCodeFor(UsageError("'x' is not a web address")), exitUsage);
  EXPECT_EQ(exitCodeFor(SettingError::unknown("warmthh")), exitUsage);
  EXPECT_EQ(exitCodeFor(SettingError::badValue("warmth", "300 is outside 0-255")), exitUsage);
  EXPECT_EQ(exitCodeFor(SettingError::unexpectedOutput("??")), exitFailure);
  EXPECT_EQ(exitCodeFor(SettingError::readOnly("model")), exitFailure);
  EXPECT_EQ(exitCodeFor(Error("the tablet is gone")), exitFailure);
  EXPECT_EQ(exitCodeFor(std::runtime_error("bad_alloc or the like")), exitFailure);
}

TEST(ExitCodesTest, AnInterruptionIsReportedAsShellsReportSigint) {
  EXPECT_EQ(exitCodeFor(Cancelled()), 130);
}

}  // namespace
}  // namespace lumivale::cli

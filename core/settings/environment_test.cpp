#include "core/settings/environment.h"

#include <gtest/gtest.h>

#include "core/settings/testing/temporary_settings_folder.h"

namespace lumivale {
namespace {

const std::map<std::string, std::string> sample = {
    {"HOME", "/home/reader"},
    {"LUMIVALE_CONFIG_DIR", "/settings"},
    {"LUMIVALE_LOG_DIR", "/logs"},
    {"LUMIVALE_NO_RESTORE", "1"},
    {"LUMIVALE_STANDIN_SERIAL", "127.0.0.1:5555"},
    {"LUMIVALE_FILES_LIST_FORMAT", "toybox"},
    {"XLUMIVALE_OTHER", "kept"},
};

TEST(EnvironmentTest, CustomerBuildsKeepOnlyTheThreeProductVariables) {
  auto filtered = filterEnvironment(sample, BuildFlavour::customer);
  auto expected = sample;
  expected.erase("LUMIVALE_STANDIN_SERIAL");
  expected.erase("LUMIVALE_FILES_LIST_FORMAT");
  EXPECT_EQ(filtered, expected);
}

TEST(EnvironmentTest, DevelopmentBuildsSeeEverything) {
  EXPECT_EQ(filterEnvironment(sample, BuildFlavour::internal), sample);
  EXPECT_EQ(filterEnvironment(sample, BuildFlavour::debug), sample);
}

TEST(EnvironmentTest, ValuesComeFromTheProcessAsThisBuildMaySeeThem) {
  testing::ScopedEnvironment hook("LUMIVALE_STANDIN_ONLY", "1");
  auto expected = developmentHooks(buildFlavour) ? std::optional<std::string>("1") : std::nullopt;
  EXPECT_EQ(environmentValue("LUMIVALE_STANDIN_ONLY"), expected);
  EXPECT_EQ(productEnvironment().count("LUMIVALE_STANDIN_ONLY"), expected ? 1u : 0u);
  EXPECT_FALSE(environmentValue("LUMIVALE_SURELY_UNSET_VARIABLE"));
}

}  // namespace
}  // namespace lumivale

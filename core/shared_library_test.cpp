#include "core/shared_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace lumivale {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string failure(auto load) {
  try {
    load();
  } catch (const SharedLibraryError& error) {
    return error.message();
  }
  return "loaded";
}

TEST(SharedLibrary, GivesTypedFunctionsThatWork) {
  SharedLibrary libm("libm.so.6", "libm");
  auto* squareRoot = LUMIVALE_LIBRARY_FUNCTION(libm, sqrt);
  EXPECT_EQ(squareRoot(9.0), 3.0);
}

TEST(SharedLibrary, NamesTheLibraryAndTheLoadersReasonWhenSomethingIsMissing) {
  std::string missingFile =
      failure([] { SharedLibrary("liblumivale-missing.so.1", "the missing library"); });
  EXPECT_THAT(missingFile, StartsWith("could not load the missing library: "));
  EXPECT_THAT(missingFile, HasSubstr("liblumivale-missing.so.1"));

  SharedLibrary libm("libm.so.6", "libm");
  std::string missingSymbol = failure([&] { libm.function<double(double)>("lumivale_missing"); });
  EXPECT_THAT(missingSymbol, StartsWith("could not load libm: "));
  EXPECT_THAT(missingSymbol, HasSubstr("lumivale_missing"));
}

}  // namespace
}  // namespace lumivale

#include "core/shared_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace lumivale {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

TEST(SharedLibrary, GivesTypedFunctionsThatWork) {
  SharedLibrary libm("libm.so.6", "libm");
  auto* squareRoot = LUMIVALE_LIBRARY_FUNCTION(libm, sqrt);
  EXPECT_EQ(squareRoot(9.0), 3.0);
}

TEST(SharedLibrary, NamesTheLibraryAndTheLoadersReasonWhenSomethingIsMissing) {
  EXPECT_THAT(
      [] { SharedLibrary("liblumivale-missing.so.1", "the missing library"); },
      ThrowsMessage<SharedLibraryError>(AllOf(StartsWith("could not load the missing library: "),
                                              HasSubstr("liblumivale-missing.so.1"))));

  SharedLibrary libm("libm.so.6", "libm");
  EXPECT_THAT([&] { libm.function<double(double)>("lumivale_missing"); },
              ThrowsMessage<SharedLibraryError>(
                  AllOf(StartsWith("could not load libm: "), HasSubstr("lumivale_missing"))));
}

}  // namespace
}  // namespace lumivale

#include "core/tablet/shell_exit.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

TEST(ShellExitTest, ReadsTheStatusAfterTheLastMarker) {
  EXPECT_EQ(ShellExit::split("a\nLUMIVALE-EXIT:1\nb\nLUMIVALE-EXIT:0\n"),
            (ShellExit::Split{0, "a\nLUMIVALE-EXIT:1\nb"}));
  EXPECT_EQ(ShellExit::split("out\nLUMIVALE-EXIT:127\r\n"), (ShellExit::Split{127, "out"}));
  EXPECT_EQ(ShellExit::split("out\n"), std::nullopt);
}

TEST(ShellExitTest, AStatusOurMarkerCannotHavePrintedIsNoStatus) {
  EXPECT_EQ(ShellExit::split("\nLUMIVALE-EXIT:2147483647\n"), (ShellExit::Split{2147483647, ""}));
  EXPECT_EQ(ShellExit::split("\nLUMIVALE-EXIT:9999999999\n"), std::nullopt);
  EXPECT_EQ(ShellExit::split("\nLUMIVALE-EXIT:-1\n"), std::nullopt);
  EXPECT_EQ(ShellExit::split("\nLUMIVALE-EXIT:\n"), std::nullopt);
}

}  // namespace
}  // namespace lumivale

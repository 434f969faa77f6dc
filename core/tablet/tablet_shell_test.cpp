#include "core/tablet/tablet_shell.h"

#include <gtest/gtest.h>

namespace lumivale {
namespace {

TEST(TabletShellTest, QuotesOnlyWhatTheShellWouldReadAgain) {
  EXPECT_EQ(TabletShell::line({"it's"}), "'it'\\''s'");
  EXPECT_EQ(TabletShell::line({"a-b_c.d/e:f=g+h,i@j"}), "a-b_c.d/e:f=g+h,i@j");
  EXPECT_EQ(TabletShell::line({"%f|%s"}), "'%f|%s'");
  EXPECT_EQ(TabletShell::line({"stat", "", "$(reboot)", "a b", "-d", "a*"}),
            "stat '' '$(reboot)' 'a b' -d 'a*'");
  EXPECT_EQ(TabletShell::quoted("it's $HOME"), "'it'\\''s $HOME'");
}

TEST(TabletShellTest, TheExitMarkerCarriesTheStatusAndEndsTheOutput) {
  EXPECT_EQ(TabletShell::withMarker("ls"), "ls; printf '\\nLUMIVALE-EXIT:%d\\n' $?");
  EXPECT_EQ(TabletShell::split("out\nLUMIVALE-EXIT:3\n"), (ShellResult{"out", 3}));
  EXPECT_EQ(TabletShell::split("\nLUMIVALE-EXIT:0\r\n"), (ShellResult{"", 0}));
  // A marker the command itself printed earlier does not end the output.
  EXPECT_EQ(TabletShell::split("a\nLUMIVALE-EXIT:1\nb\nLUMIVALE-EXIT:0\n"),
            (ShellResult{"a\nLUMIVALE-EXIT:1\nb", 0}));
  EXPECT_EQ(TabletShell::split("cut off before the end"), std::nullopt);
  EXPECT_EQ(TabletShell::split("LUMIVALE-EXIT:0\n"), std::nullopt);
  EXPECT_EQ(TabletShell::split("\nLUMIVALE-EXIT:\n"), std::nullopt);
  // A status our marker cannot have printed is no status.
  EXPECT_EQ(TabletShell::split("\nLUMIVALE-EXIT:2147483647\n"), (ShellResult{"", 2147483647}));
  EXPECT_EQ(TabletShell::split("\nLUMIVALE-EXIT:9999999999\n"), std::nullopt);
  EXPECT_EQ(TabletShell::split("\nLUMIVALE-EXIT:-1\n"), std::nullopt);
}

TEST(TabletShellTest, MessagesQuoteTheFirstLineAndWordEndsOneWay) {
  EXPECT_EQ(TabletShell::firstLine("\n\r\nfirst  \r\nsecond"), "first");
  EXPECT_EQ(TabletShell::firstLine(std::string(400, 'x')).size(), 300u);
  EXPECT_EQ(TabletShell::didNotFinish("adb -s S wait-for-device", Seconds(0.2)),
            "adb -s S wait-for-device did not finish within 0.2 s");
  EXPECT_EQ(TabletShell::didNotFinish("the tablet", Seconds(30), "'stat'"),
            "the tablet did not finish 'stat' within 30 s");
  EXPECT_EQ(TabletShell::exited("adb push", 1, "failed"), "adb push exited 1: failed");
  EXPECT_EQ(TabletShell::exited("adb start-server", 1, ""), "adb start-server exited 1");
}

}  // namespace
}  // namespace lumivale

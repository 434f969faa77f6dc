// The desktop's clipboard as a user reaches it: `lumivale clipboard share` and `clipboard
// history copy --to computer` on an X server of the test's own (Xvfb), with other X
// clients (xclip, x_copy_maker) copying and reading, through the real adb on the stand-in.
#include <signal.h>
#include <unistd.h>

#include <QGuiApplication>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "core/tablet/spawn.h"
#include "core/tablet/tool_run.h"
#include "platform/desktop_pasteboard.h"
#include "tests/integration/clipboard/share_run.h"
#include "tests/integration/standin_cli.h"

namespace lumivale::testing {
namespace {

namespace fs = std::filesystem;

// Xvfb on a free display, so that nothing touches the user's. It names the display on
// its standard output once it takes connections.
class PrivateXServer {
 public:
  PrivateXServer()
      : server_(Spawn::launch("/usr/bin/Xvfb",
                              {"-displayfd", "1", "-nolisten", "tcp", "-screen", "0", "640x480x24"},
                              ToolRun::environment(), true, false)) {
    std::string number;
    char next;
    while (::read(server_->stdoutPipe()->get(), &next, 1) == 1 && next != '\n')
      number += next;
    if (number.empty()) throw std::runtime_error("Xvfb did not start");
    display_ = ":" + number;
  }
  ~PrivateXServer() {
    server_->signalIfRunning(SIGTERM);
    server_->wait();
  }
  const std::string& display() const { return display_; }

 private:
  std::shared_ptr<Spawn::Child> server_;
  std::string display_;
};

class DesktopClipboardTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    tablet = std::make_unique<StandinTablet>();
    x = std::make_unique<PrivateXServer>();
  }
  static void TearDownTestSuite() {
    x.reset();
    tablet.reset();
  }

  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "lumivale-desktop-it-XXXXXX").string();
    local = ::mkdtemp(pattern.data());
    fs::create_directories(local / "config");
    environment = standinCliEnvironment(*tablet, local / "config");
    environment["DISPLAY"] = x->display();
    // Under the sanitizers: what Qt itself never frees is not ours to report.
    environment["LSAN_OPTIONS"] = std::string("suppressions=") + QT_LEAKS;
    xEnvironment = ToolRun::environment();
    xEnvironment["DISPLAY"] = x->display();
  }
  void TearDown() override { fs::remove_all(local); }

  ToolRun lumivale(const std::vector<std::string>& arguments) const {
    return ToolRun::runIn(environment, LUMIVALE_CLI_BINARY, arguments, Seconds(120));
  }
  // A plain copy by xclip, which stays in the background until another program copies.
  void copyWithXclip(const std::string& text) const {
    auto run = ToolRun::runIn(
        xEnvironment, "/bin/sh",
        {"-c", "printf %s \"$1\" | xclip -selection clipboard >/dev/null 2>&1", "sh", text},
        Seconds(120));
    ASSERT_EQ(run.status, 0) << run.stderrData;
  }
  std::string readWithXclip() const {
    return ToolRun::runIn(xEnvironment, "/usr/bin/xclip", {"-selection", "clipboard", "-o"},
                          Seconds(120))
        .stdoutData;
  }
  static std::string tabletText() {
    auto clip = nlohmann::json::parse(tablet->clipboardRecord(), nullptr, false);
    return clip.is_object() ? clip.value("text", "") : "";
  }

  static inline std::unique_ptr<StandinTablet> tablet;
  static inline std::unique_ptr<PrivateXServer> x;
  fs::path local;
  Environment environment;
  Environment xEnvironment;
};

TEST_F(DesktopClipboardTest, CopiesOfOtherProgramsReachTheTabletUnlessMarkedSecret) {
  ShareRun run(environment, tablet->serial());
  ASSERT_TRUE(run.waitForLine("On over")) << run.transcript();

  copyWithXclip("from another program \u00e9\n\U0001F600");
  EXPECT_TRUE(within([&] { return tabletText() == "from another program \u00e9\n\U0001F600"; }))
      << run.transcript();

  // As a password manager copies: the text with the hint, which keeps it on this computer.
  auto secret = Spawn::launch(X_COPY_MAKER, {"hunter2", "x-kde-passwordManagerHint", "secret"},
                              xEnvironment, true, false);
  char said[8] = {};
  ASSERT_EQ(::read(secret->stdoutPipe()->get(), said, 7), 7);
  EXPECT_TRUE(within([&] {
    return run.transcript().find("marked as a password") != std::string::npos;
  })) << run.transcript();
  EXPECT_NE(tabletText(), "hunter2");

  // The tablet's copy comes back to this computer, where other programs read it.
  tablet->copyOnTablet(R"({"text":"from the tablet"})");
  EXPECT_TRUE(within([&] { return readWithXclip() == "from the tablet"; })) << run.transcript();
  EXPECT_EQ(secret->wait(), 0);

  EXPECT_EQ(run.interrupt(), 0) << run.transcript();
  EXPECT_EQ(lumivale({"clipboard", "history", "--json"}).stdoutData.find("hunter2"),
            std::string::npos);
}

TEST_F(DesktopClipboardTest, HistoryCopyStaysOnTheClipboardUntilAnotherCopy) {
  ASSERT_EQ(lumivale({"clipboard", "set", "copied again \u00e9"}).status, 0);
  auto copy =
      Spawn::launch(LUMIVALE_CLI_BINARY, {"clipboard", "history", "copy", "1", "--to", "computer"},
                    environment, false, true);
  EXPECT_TRUE(within([&] { return readWithXclip() == "copied again \u00e9"; }));
  // Its copy would go with it, so it stays until another program copies.
  EXPECT_FALSE(copy->endsBy(std::chrono::steady_clock::now()));
  copyWithXclip("something else");
  EXPECT_EQ(copy->wait(), 0);
  EXPECT_EQ(readWithXclip(), "something else");
}

TEST_F(DesktopClipboardTest, WithoutADesktopTheCommandsSaySo) {
  environment.erase("DISPLAY");
  const std::string expected =
      "lumivale: the computer's clipboard cannot be reached: no desktop session is open here "
      "(neither DISPLAY nor WAYLAND_DISPLAY is set)\n";
  auto share = lumivale({"--serial", tablet->serial(), "clipboard", "share"});
  EXPECT_EQ(share.status, 1);
  EXPECT_EQ(share.stderrData, expected);

  ASSERT_EQ(lumivale({"clipboard", "set", "for later"}).status, 0);
  auto copy = lumivale({"clipboard", "history", "copy", "1", "--to", "computer"});
  EXPECT_EQ(copy.status, 1);
  EXPECT_EQ(copy.stderrData, expected);

  environment["WAYLAND_DISPLAY"] = (local / "no-compositor").string();
  copy = lumivale({"clipboard", "history", "copy", "1", "--to", "computer"});
  EXPECT_EQ(copy.status, 1);
  EXPECT_EQ(copy.stderrData,
            "lumivale: the computer's clipboard cannot be reached: the Wayland "
            "display " +
                (local / "no-compositor").string() + " does not answer\n");
}

// In the app a QGuiApplication already runs: the clipboard is used on its thread, from
// there directly and from a worker through its event loop, and no second one is started.
TEST_F(DesktopClipboardTest, InsideAnApplicationItsOwnThreadIsUsed) {
  ::setenv("DISPLAY", x->display().c_str(), 1);
  static char name[] = "app", option[] = "-platform", platform[] = "xcb";
  static char* arguments[] = {name, option, platform, nullptr};
  int count = 3;
  QGuiApplication application(count, arguments);
  DesktopPasteboard pasteboard;
  const std::int64_t written = pasteboard.write("from the app");
  EXPECT_EQ(pasteboard.changeCount(), written);
  // The application keeps its copy offered as long as it runs.
  EXPECT_FALSE(pasteboard.offeredAlone());

  PasteboardContent seen;
  std::thread worker([&] {
    EXPECT_EQ(readWithXclip(), "from the app");
    copyWithXclip("from another program");
    EXPECT_TRUE(within([&] { return pasteboard.changeCount() != written; }));
    seen = pasteboard.read();
    QMetaObject::invokeMethod(&application, &QCoreApplication::quit, Qt::QueuedConnection);
  });
  application.exec();
  worker.join();
  EXPECT_EQ(seen, PasteboardContent::ofText("from another program"));
}

}  // namespace
}  // namespace lumivale::testing

#include "core/clipboard/clip_one_shot.h"

#include <future>

#include <gtest/gtest.h>

#include "core/clipboard/clip_error.h"
#include "core/clipboard/testing/fake_clip_tablet.h"
#include "core/files/testing/message_of.h"
#include "core/tablet/testing/fake_adb_stream.h"

namespace lumivale {
namespace {

using testing::FakeAdbStream;
using testing::FakeAdbStreamRunner;
using testing::FakeClipTablet;

constexpr auto kReady = "{\"type\":\"ready\",\"sdk\":33,\"mode\":\"service\"}\n";

// A one-shot request on a scripted helper: `script` plays the helper once it is started.
class ClipOneShotTest : public ::testing::Test {
 protected:
  template <typename Request>
  auto run(Request request, const std::function<void(FakeAdbStream&)>& script) {
    auto result = std::async(std::launch::async, [&] { return request(); });
    auto stream = streams.stream(0);
    if (stream) script(*stream);
    return result.get();
  }

  std::string failureOf(const std::function<void()>& request,
                        const std::function<void(FakeAdbStream&)>& script) {
    return testing::messageOf([&] { run(request, script); });
  }

  ClipRunners runners() { return {tablet, tablet, streams}; }

  FakeClipTablet tablet;
  FakeAdbStreamRunner streams;
};

TEST_F(ClipOneShotTest, GetSendsItsRequestOnceReadyAndPassesOverOtherReports) {
  auto text = run([&] { return ClipOneShot::get(runners(), "LV1"); },
                  [](FakeAdbStream& helper) {
                    helper.reply("\"get\"",
                                 "{\"type\":\"clip\",\"text\":\"old\",\"reply\":false}\n"
                                 "{\"type\":\"clip\",\"text\":\"a\\nb\",\"reply\":true}\n");
                    helper.output(kReady);
                  });
  EXPECT_EQ(text, "a\nb");
  ASSERT_TRUE(streams.stream(0));
  auto written = streams.stream(0)->linesWritten();
  ASSERT_GE(written.size(), 2u);
  EXPECT_EQ(written.front(), R"({"type":"get"})");
  EXPECT_EQ(written.back(), R"({"type":"quit"})");
}

TEST_F(ClipOneShotTest, AnErrorFromTheHelperIsSaid) {
  const auto get = [&] { ClipOneShot::get(runners(), "LV1"); };
  EXPECT_EQ(failureOf(get,
                      [](FakeAdbStream& helper) {
                        helper.output(
                            "{\"type\":\"error\",\"message\":\"no usable form of "
                            "IClipboard.getPrimaryClip: found getPrimaryClip(String)\"}\n");
                      }),
            "the tablet\u2019s clipboard was not read: no usable form of "
            "IClipboard.getPrimaryClip: found getPrimaryClip(String)");
}

TEST_F(ClipOneShotTest, AnUndecodableLineIsSaid) {
  const auto get = [&] { ClipOneShot::get(runners(), "LV1"); };
  EXPECT_EQ(
      failureOf(get, [](FakeAdbStream& helper) { helper.output("Picked up _JAVA_OPTIONS\n"); }),
      "the tablet\u2019s clipboard was not read: undecodable clip from the tablet");
}

TEST_F(ClipOneShotTest, AHelperThatEndsIsToldFromOneThatNeverStarted) {
  const auto get = [&] { ClipOneShot::get(runners(), "LV1"); };
  EXPECT_EQ(failureOf(get,
                      [](FakeAdbStream& helper) {
                        helper.errors("/system/bin/sh: app_process: inaccessible or not found\n");
                        helper.exit(127);
                      }),
            "the tablet\u2019s clipboard was not read: the clipboard helper did not start on "
            "LV1: adb exited 127: /system/bin/sh: app_process: inaccessible or not found");
}

TEST_F(ClipOneShotTest, AHelperThatDiesAfterReadyOrLosesTheTabletIsSaid) {
  const auto set = [&] { ClipOneShot::set(runners(), "LV1", "x"); };
  EXPECT_EQ(failureOf(set,
                      [](FakeAdbStream& helper) {
                        helper.output(kReady);
                        helper.errors("java.lang.SecurityException: denied\n");
                        helper.exit(1);
                      }),
            "the tablet\u2019s clipboard was not set: the helper exited: "
            "java.lang.SecurityException: denied");
  FakeAdbStreamRunner again;
  ClipRunners secondTry{tablet, tablet, again};
  auto result = std::async(std::launch::async, [&] { ClipOneShot::set(secondTry, "LV1", "x"); });
  auto helper = again.stream(0);
  ASSERT_TRUE(helper);
  helper->output(kReady);
  helper->errors("error: no devices/emulators found\n");
  helper->exit(1);
  try {
    result.get();
    ADD_FAILURE() << "no failure";
  } catch (const ClipError& error) {
    EXPECT_EQ(error.message(), "the tablet\u2019s clipboard was not set: the tablet disconnected");
  }
}

TEST_F(ClipOneShotTest, SetRefusesTooMuchTextBeforeAnythingRuns) {
  try {
    ClipOneShot::set(runners(), "LV1", std::string(256 * 1024 + 1, 'a'));
    ADD_FAILURE() << "no failure";
  } catch (const ClipError& error) {
    EXPECT_EQ(error.message(), "text is larger than 256 KB");
  }
  EXPECT_TRUE(tablet.commands.empty());
  EXPECT_EQ(streams.openCount(), 0u);
}

}  // namespace
}  // namespace lumivale

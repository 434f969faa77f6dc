#include "core/clipboard/shared_clipboard.h"

#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/clipboard/clip_error.h"
#include "core/clipboard/clip_helper.h"
#include "core/clipboard/clip_wire.h"
#include "core/clipboard/testing/fake_clip_tablet.h"
#include "core/files/testing/message_of.h"
#include "core/tablet/testing/fake_adb_stream.h"

namespace lumivale {
namespace {

using ::testing::Contains;
using testing::FakeAdbStream;
using testing::FakeAdbStreamRunner;
using testing::FakeClipTablet;
using ::testing::Not;
using Kind = SharedClipboardEvent::Kind;

constexpr auto kReady = "{\"type\":\"ready\",\"sdk\":33,\"mode\":\"service\"}\n";
constexpr Seconds kLong{60};

// The computer's clipboard in memory.
class MemoryPasteboard : public ClipPasteboard {
 public:
  std::int64_t changeCount() override {
    std::lock_guard guard(lock_);
    return count_;
  }
  PasteboardContent read() override {
    std::lock_guard guard(lock_);
    return content_;
  }
  std::int64_t write(const std::string& text) override {
    std::lock_guard guard(lock_);
    content_ = PasteboardContent::ofText(text);
    ++writes_;
    return ++count_;
  }
  void copy(PasteboardContent content) {
    std::lock_guard guard(lock_);
    content_ = std::move(content);
    ++count_;
  }
  int writes() {
    std::lock_guard guard(lock_);
    return writes_;
  }

 private:
  std::mutex lock_;
  std::int64_t count_ = 1;
  int writes_ = 0;
  PasteboardContent content_;
};

// Says whether the tablet comes back, and records that it was asked.
class ScriptedTabletWait : public ClipTabletWait {
 public:
  explicit ScriptedTabletWait(bool comesBack) : comesBack_(comesBack) {}
  bool waitForDevice(const std::string&, Seconds, const StopToken&) override { return comesBack_; }

 private:
  bool comesBack_;
};

// The events in order, and a wait for the next of a kind.
class EventLog : public Observer<SharedClipboardEvent> {
 public:
  void notify(const SharedClipboardEvent& event) override {
    std::lock_guard guard(lock_);
    events_.push_back(event);
    changed_.notify_all();
  }
  SharedClipboardEvent waitFor(Kind kind) {
    std::unique_lock guard(lock_);
    std::size_t seen = next_;
    changed_.wait_for(guard, kLong, [&] {
      for (; seen < events_.size(); ++seen)
        if (events_[seen].kind == kind) return true;
      return false;
    });
    if (seen == events_.size()) {
      ADD_FAILURE() << "no event of kind " << static_cast<int>(kind);
      return {};
    }
    next_ = seen + 1;
    return events_[seen];
  }
  std::vector<Kind> kinds() {
    std::lock_guard guard(lock_);
    std::vector<Kind> kinds;
    for (const auto& event : events_)
      kinds.push_back(event.kind);
    return kinds;
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  std::vector<SharedClipboardEvent> events_;
  std::size_t next_ = 0;
};

class SharedClipboardTest : public ::testing::Test {
 protected:
  // Starts the link with the first helper answering ready; `tabletComesBack` says whether
  // the tablet returns once the helper ends.
  std::shared_ptr<FakeAdbStream> startLink(bool tabletComesBack,
                                           SharedClipboard::Options options = {
                                               .serial = "LV1", .pollInterval = Seconds(0.005)}) {
    wait = std::make_unique<ScriptedTabletWait>(tabletComesBack);
    options.onTransfer = [this](const ClipTransfer& transfer) {
      std::lock_guard guard(lock);
      transfers.push_back(transfer);
    };
    link = std::make_unique<SharedClipboard>(ClipRunners{tablet, tablet, streams}, *wait,
                                             pasteboard, options, events);
    auto starting = std::async(std::launch::async, [&] { link->start(); });
    auto helper = streams.stream(0);
    if (helper) {
      helper->reply(R"({"type":"ping"})", ClipWire::pongLine() + "\n");
      helper->output(kReady);
    }
    starting.get();
    return helper;
  }

  FakeClipTablet tablet;
  FakeAdbStreamRunner streams;
  MemoryPasteboard pasteboard;
  EventLog events;
  std::mutex lock;
  std::vector<ClipTransfer> transfers;
  std::unique_ptr<ScriptedTabletWait> wait;
  std::unique_ptr<SharedClipboard> link;
};

TEST_F(SharedClipboardTest, CarriesCopiesBothWaysWithoutEchoes) {
  auto helper = startLink(true);
  ASSERT_TRUE(helper);
  EXPECT_EQ(events.waitFor(Kind::syncing).text, "service");
  EXPECT_EQ(tablet.files.count(std::string(ClipHelper::remotePath)), 1u);

  helper->reply("\"type\":\"set\"",
                "{\"type\":\"ack\"}\n{\"type\":\"clip\",\"text\":\"caf\u00e9\","
                "\"reply\":false,\"at\":5}\n");
  pasteboard.copy(PasteboardContent::ofText("caf\u00e9"));
  auto synced = events.waitFor(Kind::synced);
  EXPECT_EQ(synced.direction, ClipDirection::macToLumivale);
  EXPECT_EQ(synced.characters, 4u);

  helper->output("{\"type\":\"clip\",\"text\":\"from tablet\",\"reply\":false,\"at\":9}\n");
  EXPECT_EQ(events.waitFor(Kind::synced).direction, ClipDirection::lumivaleToMac);
  EXPECT_EQ(pasteboard.read(), PasteboardContent::ofText("from tablet"));

  link->stop();
  events.waitFor(Kind::stopped);
  // The tablet's echo of our set was not written back; our own write was not sent.
  EXPECT_EQ(pasteboard.writes(), 1);
  const auto written = helper->linesWritten();
  EXPECT_EQ(
      std::count_if(written.begin(), written.end(),
                    [](const std::string& line) { return line.find("set") != std::string::npos; }),
      1);
  EXPECT_EQ(written.back(), R"({"type":"quit"})");
  std::lock_guard guard(lock);
  ASSERT_EQ(transfers.size(), 2u);
  EXPECT_EQ(std::get<ClipTransfer::Synced>(transfers[0].value).text, "caf\u00e9");
  EXPECT_EQ(std::get<ClipTransfer::Synced>(transfers[1].value).direction,
            ClipDirection::lumivaleToMac);
}

TEST_F(SharedClipboardTest, ASecretCopyIsNeverSentNorRecorded) {
  auto helper = startLink(true);
  ASSERT_TRUE(helper);
  pasteboard.copy(PasteboardContent::of(PasteboardContent::Kind::secret));
  EXPECT_EQ(events.waitFor(Kind::skipped).text, "marked as a password");
  link->stop();
  EXPECT_THAT(helper->linesWritten(), Not(Contains(::testing::HasSubstr("set"))));
  std::lock_guard guard(lock);
  EXPECT_TRUE(transfers.empty());
}

TEST_F(SharedClipboardTest, AHelperThatEndsIsStartedAgainSinceTheLastClip) {
  auto first = startLink(true);
  ASSERT_TRUE(first);
  first->output("{\"type\":\"clip\",\"text\":\"old\",\"reply\":false,\"at\":1234}\n");
  events.waitFor(Kind::synced);
  first->errors("Killed\n");
  first->exit(137);
  EXPECT_EQ(events.waitFor(Kind::restarting).text, "the helper exited: Killed");
  auto second = streams.stream(1);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->arguments(), ClipHelper::arguments("LV1", 1234));
  second->output(kReady);
  events.waitFor(Kind::syncing);
  link->stop();
  EXPECT_EQ(events.kinds(), (std::vector<Kind>{Kind::preparing, Kind::syncing, Kind::synced,
                                               Kind::restarting, Kind::syncing, Kind::stopped}));
}

TEST_F(SharedClipboardTest, ATabletThatDoesNotComeBackEndsTheLink) {
  auto helper = startLink(false);
  ASSERT_TRUE(helper);
  helper->errors("error: no devices/emulators found\n");
  helper->exit(1);
  EXPECT_EQ(events.waitFor(Kind::restarting).text, "the tablet disconnected");
  EXPECT_EQ(events.waitFor(Kind::failed).text, "the tablet disconnected");
  EXPECT_TRUE(link->waitForFailure(StopToken()));
  link->stop();
  EXPECT_EQ(testing::messageOf([&] { link->start(); }), "this shared clipboard was stopped");
}

// Stops the link as soon as it says it syncs, as a Ctrl-C does right after "On" shows.
class StopWhenSyncing : public Observer<SharedClipboardEvent> {
 public:
  void notify(const SharedClipboardEvent& event) override {
    if (event.kind == Kind::syncing) link->stop();
  }
  SharedClipboard* link = nullptr;
};

TEST_F(SharedClipboardTest, AStopOnceTheHelperIsReadyEndsTheStartWithoutAFailure) {
  wait = std::make_unique<ScriptedTabletWait>(false);
  StopWhenSyncing stopper;
  link = std::make_unique<SharedClipboard>(
      ClipRunners{tablet, tablet, streams}, *wait, pasteboard,
      SharedClipboard::Options{.serial = "LV1", .pollInterval = Seconds(0.005)}, stopper);
  stopper.link = link.get();
  auto starting = std::async(std::launch::async, [&] { link->start(); });
  auto helper = streams.stream(0);
  ASSERT_TRUE(helper);
  helper->reply(R"({"type":"ping"})", ClipWire::pongLine() + "\n");
  helper->output(kReady);
  EXPECT_NO_THROW(starting.get());
  EXPECT_EQ(helper->linesWritten().back(), R"({"type":"quit"})");
}

TEST_F(SharedClipboardTest, AHelperThatStopsAnsweringIsStartedAgainSinceTheLastClip) {
  auto first = startLink(
      true, {.serial = "LV1", .pollInterval = Seconds(0.005), .pingInterval = Seconds(0.25)});
  ASSERT_TRUE(first);
  first->output("{\"type\":\"clip\",\"text\":\"before\",\"reply\":false,\"at\":70}\n");
  events.waitFor(Kind::synced);
  // adb keeps the stream open, but the tablet behind it takes no more pings.
  first->stall();
  EXPECT_EQ(events.waitFor(Kind::restarting).text, "the tablet disconnected");
  auto second = streams.stream(1);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->arguments(), ClipHelper::arguments("LV1", 70));
  second->reply(R"({"type":"ping"})", ClipWire::pongLine() + "\n");
  second->output(kReady);
  events.waitFor(Kind::syncing);

  second->output("{\"type\":\"clip\",\"text\":\"after\",\"reply\":false,\"at\":90}\n");
  events.waitFor(Kind::synced);
  link->stop();
  EXPECT_EQ(pasteboard.read(), PasteboardContent::ofText("after"));
  EXPECT_EQ(pasteboard.writes(), 2);
  EXPECT_EQ(events.kinds(),
            (std::vector<Kind>{Kind::preparing, Kind::syncing, Kind::synced, Kind::restarting,
                               Kind::syncing, Kind::synced, Kind::stopped}));
}

TEST_F(SharedClipboardTest, NeverRunsOverUnencryptedWifi) {
  ScriptedTabletWait comesBack(true);
  SharedClipboard clipboard({tablet, tablet, streams}, comesBack, pasteboard,
                            {.serial = "LV1", .unencryptedWifi = true}, events);
  EXPECT_EQ(testing::messageOf([&] { clipboard.start(); }),
            "Paused: your Lumivale is on unencrypted Wi-Fi. Plug in the cable, or set up encrypted "
            "Wi-Fi in Devices.");
  EXPECT_EQ(streams.openCount(), 0u);
  EXPECT_EQ(events.waitFor(Kind::paused).text,
            "Paused: your Lumivale is on unencrypted Wi-Fi. Plug in the cable, or set up encrypted "
            "Wi-Fi in Devices.");
}

}  // namespace
}  // namespace lumivale

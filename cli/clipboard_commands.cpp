#include "cli/clipboard_commands.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <mutex>

#include "cli/clipboard_history_commands.h"
#include "cli/local_time.h"
#include "companion/tablet_clipboard.h"
#include "companion/tablet_link.h"
#include "core/clipboard/clip_error.h"
#include "core/clipboard/clip_one_shot.h"
#include "core/clipboard/clip_wire.h"
#include "core/clipboard/shared_clipboard.h"
#include "core/settings/config_store.h"
#include "core/tablet/wifi/wifi_transport.h"
#include "platform/system_pasteboard.h"

namespace lumivale::cli {
namespace {

// Standard input, read no further than one byte past what may be sent.
std::string standardInput() {
  std::string text;
  char buffer[65536];
  while (text.size() <= ClipWire::maxTextBytes) {
    const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw Error(std::string("could not read standard input: ") + std::strerror(errno));
    if (got == 0) break;
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

ClipRunners runners(AdbBridge& bridge) {
  return {bridge, bridge, bridge};
}

// Each copy that went across goes into the kept history; a history that cannot be saved
// is said once per copy and the link goes on.
void record(const ClipTransfer& transfer) {
  const auto* synced = std::get_if<ClipTransfer::Synced>(&transfer.value);
  if (!synced) return;
  keepInClipboardHistory(synced->text,
                         synced->direction == ClipDirection::macToLumivale
                             ? ClipboardHistory::Origin::fromMac
                             : ClipboardHistory::Origin::fromLumivale,
                         synced->at);
}

// How long the link waits for the tablet to come back before it gives up.
constexpr Seconds kDeviceWait{60};

// Prints the status line each time it reads differently, and keeps why the link failed.
class StatusPrinter : public Observer<SharedClipboardEvent> {
 public:
  explicit StatusPrinter(ClipStatusLine::Route route) : line_(route, localTime) {}
  void notify(const SharedClipboardEvent& event) override {
    // Ctrl-C while the link starts stops it from the signal's thread.
    std::lock_guard guard(lock_);
    if (event.kind == SharedClipboardEvent::Kind::failed) failure_ = event.text;
    line_.apply(event);
    std::string text = line_.text();
    if (text == shown_) return;
    shown_ = text;
    std::cout << text << std::endl;
  }
  std::string failure() const {
    std::lock_guard guard(lock_);
    return failure_;
  }

 private:
  mutable std::mutex lock_;
  ClipStatusLine line_;
  std::string shown_;
  std::string failure_;
};

void share(GlobalOptions& options) {
  auto session = companion::requireReadyTablet(options.serial, options.command);
  auto pasteboard = SystemPasteboard::open();
  if (auto unseen = SystemPasteboard::unseenCopies()) std::cerr << "Note: " << *unseen << ".\n";
  // A Wi-Fi connection is handed out only once its tablet passed the secret check.
  const bool wifi = session.serial != session.tablet;
  StatusPrinter printer(wifi ? ClipStatusLine::Route::wifi : ClipStatusLine::Route::usb);
  BridgeTabletWait tabletWait(*session.bridge);
  const double scale = session.bridge->hooks().timeoutScale;
  SharedClipboard link(runners(*session.bridge), tabletWait, *pasteboard,
                       {.serial = session.serial,
                        .deviceWait = kDeviceWait * scale,
                        .pingInterval = ClipWire::pingInterval * scale,
                        .onTransfer = record,
                        .unencryptedWifi = WifiTransport::unencrypted(
                            session.serial, session.tablet, ConfigStore::load().wifiTablets)},
                       printer);
  {
    // Ctrl-C while it starts ends the start.
    auto interrupt = options.command.hold([&link] { link.stop(); });
    try {
      link.start();
    } catch (const Error&) {
      options.command.throwIfCancelled();
      throw;
    }
  }
  const bool failed = link.waitForFailure(options.command);
  link.stop();
  if (failed) throw ClipError(printer.failure());
}

}  // namespace

void addClipboardCommands(CLI::App& clipboard, GlobalOptions& options) {
  auto* get = clipboard.add_subcommand("get", "Print the tablet's clipboard");
  get->callback([&options] {
    auto session = companion::requireReadyTablet(options.serial, options.command);
    auto text = ClipOneShot::get(runners(*session.bridge), session.serial, &options.command);
    if (!text) return;
    std::cout << *text;
    // Exactly the clip for a pipe; a terminal gets the line ended.
    if (::isatty(STDOUT_FILENO) && !text->empty() && text->back() != '\n') std::cout << "\n";
    std::cout.flush();
  });

  auto* set = clipboard.add_subcommand(
      "set", "Make TEXT (or standard input, without TEXT) the tablet's clipboard");
  auto text = std::make_shared<std::optional<std::string>>();
  set->add_option("text", *text, "The text; standard input when left out");
  set->callback([&options, text] {
    const std::string wanted = *text ? **text : standardInput();
    if (wanted.size() > ClipWire::maxTextBytes) throw ClipError("text is larger than 256 KB");
    companion::TabletClipboard tablet(options.serial, options.command);
    sendToTabletKept(wanted, tablet);
  });

  auto* shareCommand = clipboard.add_subcommand(
      "share", "Share the clipboard with the tablet both ways until Ctrl-C");
  shareCommand->callback([&options] { share(options); });
}

}  // namespace lumivale::cli

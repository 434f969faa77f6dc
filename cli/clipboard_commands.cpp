#include "cli/clipboard_commands.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

#include "cli/clipboard_history_commands.h"
#include "companion/tablet_clipboard.h"
#include "companion/tablet_link.h"
#include "core/clipboard/clip_error.h"
#include "core/clipboard/clip_one_shot.h"
#include "core/clipboard/clip_wire.h"

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
}

}  // namespace lumivale::cli

#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "cli/cli_options.h"
#include "core/clipboard/clipboard_history.h"
#include "core/clipboard/clipboard_history_copy.h"

namespace lumivale::cli {

// `lumivale clipboard history [--json]`, `history copy N [--to ...]`, `history remove N`,
// `history clear` and `history keep on|off`, under the `clipboard` group: the texts that
// went between the computer and the tablet, as kept between runs.
void addClipboardHistoryCommands(CLI::App& clipboard, GlobalOptions& options);

// Lists a text that went to the tablet in the kept history. The text went across whatever
// happens here, so a history that cannot take it is said on standard error and the
// command still succeeds.
void keepInClipboardHistory(const std::string& text, ClipboardHistory::Origin origin,
                            ClipboardHistory::Time at = std::chrono::system_clock::now());

// Hands `text` to the tablet, listed as sent in the kept history; when the hand-off fails
// the list is put back as it was and the failure thrown on.
void sendToTabletKept(const std::string& text, ClipHandOff& tablet);

}  // namespace lumivale::cli

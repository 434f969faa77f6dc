#include "cli/clipboard_history_commands.h"

#include <iostream>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "cli/exit_codes.h"
#include "cli/local_time.h"
#include "companion/computer_clipboard.h"
#include "companion/kept_clipboard_history.h"
#include "companion/tablet_clipboard.h"
#include "core/clipboard/clipboard_history_json.h"

namespace lumivale::cli {
namespace {

struct HistoryArguments {
  bool json = false;
  std::size_t row = 0;
  std::string keep;
  std::string to = "computer";
};

constexpr std::size_t previewLength = 40;

// The saved list, or a failure that says why it could not be read.
ClipboardHistory loadOrRefuse(const companion::KeptClipboardHistory& kept) {
  auto loaded = kept.load();
  if (auto* problem = std::get_if<ClipboardHistoryStore::LoadProblem>(&loaded))
    throw Error(problem->description());
  return std::get<ClipboardHistory>(std::move(loaded));
}

// [{"number", "id", "origin", "label", "at", "preview", "characters", "text"}], newest first.
void printJson(const ClipboardHistory& history) {
  auto rows = nlohmann::ordered_json::array();
  std::size_t number = 0;
  for (const auto& item : history.items())
    rows.push_back({{"number", ++number},
                    {"id", item.id},
                    {"origin", ClipboardHistory::rawValue(item.origin)},
                    {"label", ClipboardHistory::label(item.origin)},
                    {"at", ClipboardHistoryJson::formatTime(item.at)},
                    {"preview", ClipboardHistory::oneLine(item.text, previewLength)},
                    {"characters", ClipboardHistory::characters(item.text)},
                    {"text", item.text}});
  std::cout << rows.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

void printRows(const ClipboardHistory& history, bool kept) {
  if (!kept)
    std::cout << "The clipboard history is not kept: lumivale clipboard history keep on keeps "
                 "it.\n";
  else if (history.isEmpty())
    std::cout << "The clipboard history is empty.\n";
  std::size_t number = 0;
  for (const auto& item : history.items()) {
    const std::string preview = ClipboardHistory::oneLine(item.text, previewLength);
    // Padded by characters, not bytes, so that the sizes line up.
    const std::size_t padding = previewLength - ClipboardHistory::characters(preview);
    std::cout << fmt::format("{:>3}  {:<23}  {}  {}{}  {}\n", ++number,
                             ClipboardHistory::label(item.origin), localTime(item.at), preview,
                             std::string(padding, ' '), item.size());
  }
}

UsageError noSuchRow(std::size_t row, std::size_t count) {
  return UsageError(fmt::format("the clipboard history has no row {} (it has {})", row, count));
}

void sayNotKept(const std::string& why) {
  std::cerr << "lumivale: not kept in the clipboard history: " << why << "\n";
}

}  // namespace

void keepInClipboardHistory(const std::string& text, ClipboardHistory::Origin origin,
                            ClipboardHistory::Time at) {
  try {
    if (auto problem = companion::recordClipboardCopy(text, origin, at))
      sayNotKept(problem->description());
  } catch (const Error& error) {
    sayNotKept(error.message());
  }
}

void sendToTabletKept(const std::string& text, ClipHandOff& tablet) {
  auto kept = companion::KeptClipboardHistory::standard();
  sendToTablet(kept, text, std::chrono::system_clock::now(), tablet);
  if (kept.problem()) sayNotKept(kept.problem()->description());
}

void addClipboardHistoryCommands(CLI::App& clipboard, GlobalOptions& options) {
  auto arguments = std::make_shared<HistoryArguments>();

  auto* history = clipboard.add_subcommand(
      "history", "List the texts that went between the computer and the tablet, newest first");
  history->require_subcommand(0, 1);
  history->add_flag("--json", arguments->json, "Print JSON");
  history->callback([history, arguments] {
    if (!history->get_subcommands().empty()) return;
    auto kept = companion::KeptClipboardHistory::standard();
    ClipboardHistory list = loadOrRefuse(kept);
    if (arguments->json)
      printJson(list);
    else
      printRows(list, kept.kept());
  });

  auto* copy = history->add_subcommand(
      "copy", "Copy a row's text again, to the computer, the tablet or both (the row stays)");
  copy->add_option("N", arguments->row, "The row's number, as the history shows it")
      ->required()
      ->check(CLI::PositiveNumber);
  copy->add_option("--to", arguments->to, "computer, tablet or both (default: computer)")
      ->check(CLI::IsMember({"computer", "tablet", "both"}));
  copy->callback([&options, arguments] {
    const ClipboardHistory list = loadOrRefuse(companion::KeptClipboardHistory::standard());
    if (arguments->row > list.items().size()) throw noSuchRow(arguments->row, list.items().size());
    companion::ComputerClipboard computer(options.command, [] {
      std::cerr << fmt::format(
                       "Keeping the text on this computer's clipboard until something else is "
                       "copied, at most {} seconds (Ctrl-C ends it now).",
                       SystemPasteboard::keepLimit.count())
                << std::endl;
    });
    companion::TabletClipboard tablet(options.serial, options.command);
    copyAgain(list.items()[arguments->row - 1].text, *copyDestinationNamed(arguments->to), computer,
              tablet);
  });

  auto* remove = history->add_subcommand("remove", "Remove one row of the history");
  remove->add_option("N", arguments->row, "The row's number, as the history shows it")
      ->required()
      ->check(CLI::PositiveNumber);
  remove->callback([arguments] {
    auto kept = companion::KeptClipboardHistory::standard();
    std::size_t count = 0;
    auto loaded = kept.store().update([&](ClipboardHistory& list) {
      count = list.items().size();
      return arguments->row <= count && list.remove(list.items()[arguments->row - 1].id);
    });
    if (auto* problem = std::get_if<ClipboardHistoryStore::LoadProblem>(&loaded))
      throw Error(problem->description());
    if (arguments->row > count) throw noSuchRow(arguments->row, count);
  });

  auto* clear = history->add_subcommand("clear", "Empty the history and delete its file");
  clear->callback([] { companion::KeptClipboardHistory::standard().store().deleteFile(); });

  auto* keep = history->add_subcommand(
      "keep", "Keep the history between runs, or not (off deletes it at once)");
  keep->add_option("SETTING", arguments->keep, "on or off")
      ->required()
      ->check(CLI::IsMember({"on", "off"}));
  keep->callback([arguments] {
    companion::KeptClipboardHistory::standard().setKept(arguments->keep == "on");
  });
}

}  // namespace lumivale::cli

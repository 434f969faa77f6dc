#include "core/tablet/adb_hand_off.h"

#include <algorithm>

namespace lumivale::AdbHandOff {

bool isTypeable(std::string_view text) {
  return !text.empty() && text.size() <= maxTypedCharacters &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7e; });
}

std::vector<std::string> inputTextArguments(std::string_view text) {
  std::vector<std::string> arguments(1);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == 's' && i > 0 && text[i - 1] == '%') arguments.emplace_back();
    if (text[i] == ' ')
      arguments.back() += "%s";
    else
      arguments.back() += text[i];
  }
  return arguments;
}

std::string redacted(const std::vector<std::string>& arguments) {
  static const std::string typing = "input text ";
  std::string line;
  for (size_t i = 0; i < arguments.size(); ++i) {
    std::string shown = arguments[i];
    if (i >= 2 && arguments[i - 2] == "pair") shown = "[code]";
    if (size_t at = shown.find(typing); at != std::string::npos)
      shown = shown.substr(0, at + typing.size()) + "[text]";
    if (i > 0 && arguments[i - 1] == "text" && i >= 2 && arguments[i - 2] == "input")
      shown = "[text]";
    if (shown.find("printf") != std::string::npos && shown.find(checkFile) != std::string::npos)
      shown = "[check]";
    line += (i == 0 ? "" : " ") + shown;
  }
  return line;
}

}  // namespace lumivale::AdbHandOff

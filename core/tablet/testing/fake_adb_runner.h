#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "core/tablet/adb_error.h"
#include "core/tablet/adb_runner.h"

namespace lumivale::testing {

// A scripted tablet for unit tests: answers each command from the first rule whose
// fragment it contains, and records every command it was given.
class FakeAdbRunner : public AdbRunner, public AdbFileRunner {
 public:
  struct Reply {
    std::string output;
    int status = 0;
    std::string errors;
    std::string failure;  // non-empty: shell() throws AdbError with this message
  };
  struct Rule {
    std::string fragment;
    Reply reply;
  };

  // Later rules win over earlier ones, so a test can override a default.
  void on(std::string fragment, Reply reply) {
    rules_.insert(rules_.begin(), {std::move(fragment), std::move(reply)});
  }

  std::string shell(const std::string& serial, const std::string& command, Seconds,
                    const StopToken* = nullptr) override {
    const Reply& reply = answer(serial, command);
    if (!reply.failure.empty()) throw AdbError(reply.failure);
    return reply.output;
  }

  ToolRun run(const std::string& serial, const std::vector<std::string>& arguments, Seconds,
              const StopToken*) override {
    std::string joined;
    for (const auto& argument : arguments)
      joined += (joined.empty() ? "" : " ") + argument;
    const Reply& reply = answer(serial, joined);
    return ToolRun{reply.status, reply.output, reply.errors, false, false};
  }

  // A run whose output is read while it arrives gets it in pieces of this many bytes
  // (0: whole, at the end).
  std::size_t streamPieceBytes = 0;
  ToolRun stream(const std::string& serial, const std::vector<std::string>& arguments,
                 Seconds timeout, const StopToken* stop, const OutputChunks& onOutput) override {
    if (streamPieceBytes == 0)
      return AdbFileRunner::stream(serial, arguments, timeout, stop, onOutput);
    ToolRun whole = run(serial, arguments, timeout, stop);
    const std::string_view output = whole.stdoutData;
    for (std::size_t at = 0; at < output.size(); at += streamPieceBytes)
      onOutput(output.substr(at, streamPieceBytes));
    whole.stdoutData.clear();
    return whole;
  }

  std::vector<std::string> commands;  // in the order they arrived
  std::vector<std::string> serials;   // the serial of each command

 private:
  const Reply& answer(const std::string& serial, const std::string& command) {
    // A transfer asks from its copying thread and its progress thread at once.
    std::lock_guard guard(lock_);
    commands.push_back(command);
    serials.push_back(serial);
    for (const auto& rule : rules_) {
      if (command.find(rule.fragment) != std::string::npos) return rule.reply;
    }
    static const Reply unscripted{"", 127, "fake tablet: no rule for this command", ""};
    return unscripted;
  }

  std::vector<Rule> rules_;
  std::mutex lock_;
};

}  // namespace lumivale::testing

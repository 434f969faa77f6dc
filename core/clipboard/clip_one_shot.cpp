#include "core/clipboard/clip_one_shot.h"

#include <fmt/format.h>

#include "core/clipboard/clip_error.h"
#include "core/clipboard/clip_helper.h"
#include "core/clipboard/clip_helper_process.h"
#include "core/clipboard/clip_wire.h"
#include "core/overloaded.h"

namespace lumivale::ClipOneShot {
namespace {

// The helper starts a runtime on the tablet: seconds on a slow one.
constexpr Seconds kAnswerTimeout{30};
constexpr Seconds kFinishTimeout{5};

// Runs the helper for `request` and returns its answer: a reply clip or skip, empty or
// ack. Anything else fails with `errorPrefix` and the reason.
ClipWire::Incoming answer(ClipRunners runners, const std::string& serial,
                          const std::string& request, std::string_view errorPrefix,
                          const StopToken* stop) {
  auto fail = [&](const std::string& reason) {
    return ClipError(fmt::format("{}: {}", errorPrefix, reason));
  };
  ClipHelper::ensureInstalled(runners.shell, runners.files, serial, stop);
  ClipHelperProcess helper(runners.streams, {.serial = serial}, stop);
  bool ready = false;
  while (true) {
    auto line = helper.nextLine(kAnswerTimeout);
    if (stop) stop->throwIfCancelled();
    if (!line) {
      if (auto end = helper.ended()) throw fail(ClipHelper::endText(*end, ready, serial));
      throw fail(fmt::format("the helper did not answer within {:g} s", kAnswerTimeout.count()));
    }
    ClipWire::Decoded decoded;
    try {
      decoded = ClipWire::decodeLine(*line);
    } catch (const ClipError& undecodable) {
      throw fail(undecodable.message());
    }
    std::optional<ClipWire::Incoming> reply;
    std::visit(Overloaded{[&](const ClipWire::Ready&) {
                            ready = true;
                            // One that cannot take it has ended: its end says why.
                            helper.send(request, kAnswerTimeout);
                          },
                          [&](const ClipWire::Failed& failed) { throw fail(failed.message); },
                          [&](const ClipWire::Clip& clip) {
                            if (clip.reply) reply = clip;
                          },
                          [&](const ClipWire::Skipped& skipped) {
                            if (skipped.reply) reply = skipped;
                          },
                          [&](const auto& other) { reply = other; }},
               decoded.incoming);
    if (reply) {
      helper.finish(kFinishTimeout);
      return *reply;
    }
  }
}

}  // namespace

std::optional<std::string> get(ClipRunners runners, const std::string& serial,
                               const StopToken* stop) {
  constexpr std::string_view prefix = "the tablet\u2019s clipboard was not read";
  auto reply = answer(runners, serial, ClipWire::getLine(), prefix, stop);
  if (auto* clip = std::get_if<ClipWire::Clip>(&reply)) return clip->text;
  if (auto* skipped = std::get_if<ClipWire::Skipped>(&reply))
    throw ClipError(fmt::format("{}: {}", prefix, ClipWire::reasonText(skipped->reason)));
  if (std::holds_alternative<ClipWire::Empty>(reply)) return std::nullopt;
  throw ClipError(fmt::format("{}: the helper answered out of turn", prefix));
}

void set(ClipRunners runners, const std::string& serial, std::string_view text,
         const StopToken* stop) {
  if (text.size() > ClipWire::maxTextBytes) throw ClipError("text is larger than 256 KB");
  constexpr std::string_view prefix = "the tablet\u2019s clipboard was not set";
  auto reply = answer(runners, serial, ClipWire::setLine(text), prefix, stop);
  if (std::holds_alternative<ClipWire::Ack>(reply)) return;
  if (auto* skipped = std::get_if<ClipWire::Skipped>(&reply))
    throw ClipError(fmt::format("{}: {}", prefix, ClipWire::reasonText(skipped->reason)));
  throw ClipError(fmt::format("{}: the helper answered out of turn", prefix));
}

}  // namespace lumivale::ClipOneShot

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumivale {

// Whether a copy with these clipboard formats was marked secret by a password manager:
// "x-kde-passwordManagerHint" with any value but "public" (what password managers on
// Linux set), or one of the Mac marker types, as they are named or in their MIME form.
// `valueOf` reads one format's data.
bool isMarkedSecret(const std::vector<std::string>& formats,
                    const std::function<std::string(const std::string& format)>& valueOf);

}  // namespace lumivale

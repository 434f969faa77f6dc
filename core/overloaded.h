#pragma once

namespace lumivale {

// One visitor from several lambdas, for std::visit.
template <class... Handlers>
struct Overloaded : Handlers... {
  using Handlers::operator()...;
};
// Spelled out: clang deduces an aggregate's arguments only from version 17 on.
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

}  // namespace lumivale

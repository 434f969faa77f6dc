#pragma once

#include <cstddef>
#include <future>

namespace lumivale {

// Calls work(from, to) for both halves of [0, count): at the same time on two threads
// when there are enough items to pay for the second thread, else once for the whole.
// Rethrows what either half threw.
template <typename Work>
void inTwoHalves(std::size_t count, Work work, std::size_t worthASecondThread = 2000) {
  if (count < worthASecondThread) {
    work(std::size_t{0}, count);
    return;
  }
  const std::size_t half = count / 2;
  auto second = std::async(std::launch::async, [&] { work(half, count); });
  work(std::size_t{0}, half);
  second.get();
}

}  // namespace lumivale

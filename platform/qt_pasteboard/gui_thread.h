#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace lumivale::qtpasteboard {

// The thread Qt's GUI objects live on: the application's own where there is one (the
// app), else a thread started here with a QGuiApplication of its own (the command line).
namespace GuiThread {

// Starts Qt on first use; empty, or why the desktop cannot be reached.
std::string ensureStarted();

// Runs `work` on the GUI thread, at once when called there. False when it did not end
// within `deadline`, or the GUI thread's event loop has ended (the program is quitting):
// it may still run later, so it must own everything it touches.
bool run(std::function<void()> work, std::chrono::milliseconds deadline);

// Whether this process started Qt itself, so that its copies go when it exits.
bool ownsApplication();

}  // namespace GuiThread
}  // namespace lumivale::qtpasteboard

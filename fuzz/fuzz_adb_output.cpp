// What adb and the tablet's shell tools print: device lists, facts, screen state, exit markers.
#include "core/tablet/adb_parse.h"
#include "core/tablet/tablet_shell.h"
#include "fuzz/fuzz_input.h"

using namespace lumivale;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto input = FuzzInput::text(data, size);
  for (const auto& parsed : AdbParse::devices(input))
    AdbParse::isLumivaleLine(parsed.raw);
  AdbParse::isTcpSerial(input);
  AdbParse::battery(input);
  AdbParse::df(input);
  AdbParse::ipAddress(input);
  AdbParse::channel(input);
  AdbParse::wifiSsidFromStatus(input);
  AdbParse::wifiSsidFromDumpsys(input);
  AdbParse::wakefulness(input);
  AdbParse::keyguardShowing(input);
  auto [wmSize, displays] = FuzzInput::halves(input);
  AdbParse::screenFrame(wmSize, displays);
  AdbParse::screenFrame(input, "");
  AdbParse::mdnsServices(input);
  AdbParse::focusedActivity(input);
  AdbParse::section(input, "df");
  TabletShell::split(input);
  TabletShell::firstLine(input);
  return 0;
}

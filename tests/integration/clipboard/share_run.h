#pragma once

#include <string>

#include "tests/integration/line_reading_run.h"

namespace lumivale::testing {

// One `lumivale clipboard share` run (LUMIVALE_CLI_BINARY), its output read line by line as
// it comes.
class ShareRun : public LineReadingRun {
 public:
  ShareRun(const Environment& environment, const std::string& serial)
      : LineReadingRun(LUMIVALE_CLI_BINARY, {"--serial", serial, "clipboard", "share"},
                       environment) {}
};

}  // namespace lumivale::testing

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "companion/tablet_link.h"
#include "core/stop_token.h"
#include "core/upkeep/program_files.h"

namespace lumivale::companion {

// What removing the program would take away, found without changing anything.
struct RemovalSurvey {
  std::optional<std::string> tabletSerial;     // the tablet looked at, once reached
  std::vector<ProgramFiles::Item> onTablet;    // tablet paths, with what each is
  std::optional<std::string> tabletUnreached;  // what could not be reached, and why
  std::vector<ProgramFiles::Item> onComputer;
  std::optional<std::string> signIn;  // the stored sign-in, said as the list shows it

  bool empty() const { return onTablet.empty() && onComputer.empty() && !signIn; }
};

// Removing the program and everything it put on this computer and the chosen tablet,
// and nothing else: on the tablet the clipboard helper, the Wi-Fi check file and the
// leftovers of unfinished copies in the Reading folder's tablet folders (put back where
// they are a user's older copy, as clean-up does), never a user's file or the Reading
// folder's copies; here the program's own entries of the settings folder, the log, the
// preview cache and the stored sign-in. The log stops from the moment this is made, so
// nothing writes it again.
class ProgramRemoval {
 public:
  // Looks at what there is; `keepTablet` leaves the tablet out.
  ProgramRemoval(bool keepTablet, const std::optional<std::string>& pinnedSerial,
                 StopToken command = {});

  const RemovalSurvey& survey() const { return survey_; }

  struct Report {
    int removed = 0;
    std::vector<std::string> notices;   // what was kept and why, what the server said
    std::vector<std::string> failures;  // what could not be removed, as sentences
  };
  // The tablet first, then signs out here and tells the server (as signing out does), then
  // removes the files here, the settings folder last and only when nothing else is in it.
  Report removeAll();

 private:
  void surveyTablet(const std::optional<std::string>& pinnedSerial);
  void lookOnTablet();
  void removeFromTablet(Report& report);
  void signOut(Report& report);
  void removeFromComputer(Report& report);

  StopToken command_;
  RemovalSurvey survey_;
  std::optional<ReadyTablet> tablet_;
  std::vector<std::string> fixedTabletPaths_;  // removed in one go
  std::vector<std::string> leftoverFolders_;   // cleaned up one by one
};

}  // namespace lumivale::companion

#include "cli/tablet_files.h"

#include "cli/tablet_session.h"

namespace lumivale::cli {

TabletFiles openTabletFiles(const GlobalOptions& options) {
  ReadyTablet tablet = requireReadyTablet(options);
  AdbFiles files(*tablet.bridge, tablet.serial);
  return {tablet.bridge, files};
}

}  // namespace lumivale::cli

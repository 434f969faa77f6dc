#include "core/archive_library.h"

#include "core/shared_library.h"

namespace lumivale {

const ArchiveLibrary& archiveLibrary() {
  static const ArchiveLibrary functions = [] {
    const SharedLibrary library("libarchive.so.13", "libarchive");
    return ArchiveLibrary{
        LUMIVALE_LIBRARY_FUNCTION(library, archive_error_string),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_read_new),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_read_support_format_zip),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_read_open_filename),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_read_next_header),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_read_data),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_read_free),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_write_new),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_write_add_filter_gzip),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_write_set_format_pax_restricted),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_write_open_fd),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_write_header),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_write_data),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_write_close),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_write_free),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_new),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_free),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_pathname),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_filetype),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_perm),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_set_pathname),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_set_size),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_set_filetype),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_set_perm),
        LUMIVALE_LIBRARY_FUNCTION(library, archive_entry_set_mtime),
    };
  }();
  return functions;
}

}  // namespace lumivale

#pragma once

#include <archive.h>
#include <archive_entry.h>

namespace lumivale {

// libarchive's functions, loaded on first use: it brings a dozen compression libraries
// that only unpacking Android's tools and writing a diagnostics archive need.
struct ArchiveLibrary {
  decltype(&archive_error_string) errorString;
  // Reading
  decltype(&archive_read_new) readNew;
  decltype(&archive_read_support_format_zip) supportZip;
  decltype(&archive_read_open_filename) openFilename;
  decltype(&archive_read_next_header) nextHeader;
  decltype(&archive_read_data) readData;
  decltype(&archive_read_free) readFree;
  // Writing
  decltype(&archive_write_new) writeNew;
  decltype(&archive_write_add_filter_gzip) addGzip;
  decltype(&archive_write_set_format_pax_restricted) setPax;
  decltype(&archive_write_open_fd) openFd;
  decltype(&archive_write_header) writeHeader;
  decltype(&archive_write_data) writeData;
  decltype(&archive_write_close) writeClose;
  decltype(&archive_write_free) writeFree;
  // Entries
  decltype(&archive_entry_new) entryNew;
  decltype(&archive_entry_free) entryFree;
  decltype(&archive_entry_pathname) entryPathname;
  decltype(&archive_entry_filetype) entryFiletype;
  decltype(&archive_entry_perm) entryPerm;
  decltype(&archive_entry_set_pathname) setPath;
  decltype(&archive_entry_set_size) setSize;
  decltype(&archive_entry_set_filetype) setType;
  decltype(&archive_entry_set_perm) setPerm;
  decltype(&archive_entry_set_mtime) setModified;
};

// Loaded once; throws SharedLibrary's error when libarchive is missing.
const ArchiveLibrary& archiveLibrary();

}  // namespace lumivale

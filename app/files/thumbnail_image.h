#pragma once

#include <filesystem>

#include <QImage>
#include <QSize>

namespace lumivale::app {

// A small picture of a file on this computer: an image scaled down as it is read (never
// decoded whole), or the first page of a PDF. Runs on any thread.
namespace ThumbnailImage {

// The picture fitted into `box`, keeping its shape; a null image when the file is neither
// an image nor a PDF that can be read.
QImage of(const std::filesystem::path& file, QSize box);

}  // namespace ThumbnailImage

}  // namespace lumivale::app

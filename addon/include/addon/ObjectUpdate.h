// ObjectUpdate.h: putting a downloaded file in place of a library part's file.
#pragma once

#include "hostkit/UniString.h"

#include <cstdint>
#include <string>

// The add-on's name, title of its message boxes.
extern GS::UniString AddOnName;

// Writes `body` beside the system's temporary files under `fileName` and then either unpacks it
// over the part's folder (a body beginning with "PK" is taken for a ZIP archive) or renames it
// over the part's folder and `fileName`. Never returns normally: the outcome, success included,
// is a std::exception whose what() is the catalogue text to show (UTF-8).
[[noreturn]] void ReplaceObject(int32_t libIndex, const std::string& body,
                                const GS::UniString& fileName);

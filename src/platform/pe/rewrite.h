// A PE file with another set of resources.
//
// Where the new resource section goes:
// - into the old one's place, if that has room for it;
// - into the old one's place, which grows or shrinks, if it is the last section in the image and in
//   the file;
// - otherwise behind all sections, as a section of its own. An old section stays where it is, so
//   that no address changes, but loses its content and its name. If the section table has no room
//   for another entry, the file's content behind it moves on.
//
// An old section is only touched if it holds the resources and nothing else. Headers and data
// directory follow; pointers into what has moved in the file are carried along; data behind the
// last section is kept. A signature does not hold for the new content: its entry goes,
// with its bytes if they end the file. All else stays as it is.
#pragma once

#include "image.h"
#include "resource_build.h"
#include "windef.h"

namespace platform::pe
{

// The resources of an image. False if its tree is not sound: some would be lost.
bool read_resources(const Image& image, ResourceSet& set);

// The new file's content, its checksum field zero; image and set must outlive it. 0, or a system
// error:
// ERROR_BAD_EXE_FORMAT for headers that contradict themselves, ERROR_NOT_SUPPORTED for an image
// without room for a resource directory or for headers that grow, ERROR_FILE_TOO_LARGE if the new
// content leaves 32 bits.
DWORD rewrite_resources(const Image& image, const ResourceSet& set, Pieces& result);

} // namespace platform::pe

// A PE file with another set of resources.
//
// The place of the new resource section:
// - the old one's place, if that has enough room;
// - the old one's place, which grows or shrinks, if it is the last section in the image and in the
//   file;
// - otherwise after all sections, as a section of its own. An old section stays where it is, so
//   that no address changes, but loses its content and its name. If the section table has no room
//   for another entry, the file's content after the table moves.
//
// An old section is only changed if it holds the resources and nothing else. Headers and data
// directory are updated; so are pointers to content that has moved in the file; data after the last
// section is kept. A signature is not valid for the new content: its entry is removed, with its
// bytes if they end the file. All else stays as it is.
#pragma once

#include "image.h"
#include "resource_build.h"
#include "windef.h"

namespace platform::pe
{

// The resources of an image. False if its tree has errors: some would be lost.
bool read_resources(const Image& image, ResourceSet& set);

// The new file's content, its checksum field zero; image and set must outlive it. 0, or a system
// error: ERROR_BAD_EXE_FORMAT for headers that contradict themselves, ERROR_NOT_SUPPORTED for an
// image without room for a resource directory or for longer headers, ERROR_FILE_TOO_LARGE if the
// new content needs more than 32 bits.
DWORD rewrite_resources(const Image& image, const ResourceSet& set, Pieces& result);

} // namespace platform::pe

// Settings that several viewers change, each of which writes the file as a whole.
#pragma once

#include "view_settings.h"

namespace trace
{

// What the file has, with what this viewer has changed from `before` to `now`: views by their
// names, other settings likewise. Where both have changed the same one, this viewer's counts.
ViewerSettings merged(const ViewerSettings& file, const ViewerSettings& before,
                      const ViewerSettings& now);

} // namespace trace

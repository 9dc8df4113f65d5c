// Merges settings that several viewers change, although each writes the file as a whole.
#pragma once

#include "view_settings.h"

namespace trace
{

// The settings of the file, with this viewer's changes from `before` to `now`: views by their
// names, other settings likewise. If both have changed the same one, this viewer's change counts.
ViewerSettings merged(const ViewerSettings& file, const ViewerSettings& before,
                      const ViewerSettings& now);

} // namespace trace

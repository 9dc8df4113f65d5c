// The copy that plinth-demo makes of its file, with its progress.
#pragma once

namespace demo
{

// Copies the file asynchronously to a new temporary file, shows the progress on standard error, and
// removes the copy. QV_OK, or the status of what failed.
int copy_with_progress(const wchar_t* path);

} // namespace demo

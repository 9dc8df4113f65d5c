#include "own_claimed_file.h"

#include <utility>

#include "system/fork_count.h"

namespace platform
{

void OwnClaimedFile::take(ClaimedFile&& file, const struct stat& found, const char* path,
                          const ShareRequest& request)
{
    m_process = fork_count();
    OwnDescriptor::take(file.release(), found, path,
                        [request](int again)
                        {
                            ClaimedFile opened(again);
                            const bool claimed = opened.claim(request) == 0;
                            opened.release();
                            return claimed;
                        });
}

int OwnClaimedFile::close()
{
    if (taken() && m_process == fork_count())
        take_back_locks(checked_number());
    return OwnDescriptor::close();
}

} // namespace platform

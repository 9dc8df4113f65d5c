// The text that plinth-demo works through unless its user names a file: the library's guide. It is
// a resource of the program.
#pragma once

#include "text.h"

namespace demo
{

// A temporary file with the text, which lasts as long as the object.
class OwnText
{
public:
    OwnText();
    OwnText(const OwnText&) = delete;
    OwnText& operator=(const OwnText&) = delete;
    ~OwnText();

    int status() const
    {
        return m_status;
    } // QV_OK, or the status of what failed: then there is no file
    const WideText& path() const { return m_path; }

private:
    int write();

    WideText m_path; // empty if there is no file
    int m_status;
};

} // namespace demo

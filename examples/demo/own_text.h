// The text that plinth-demo works through if it is given none: the library's guide. The program
// carries it in its own file as a resource.
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

    int status() const { return m_status; } // QV_OK, or what failed; there is no file then
    const WideText& path() const { return m_path; }

private:
    int write();

    WideText m_path; // without a character if there is no file
    int m_status;
};

} // namespace demo

// Writes to the debug string channel and nothing else. It isn't linked to the library, which traces
// a record of its own when it is loaded.
//
//   TEXT          the text as it is
//   long:N        a text of N bytes
//   numbers:N/LENGTH  N texts, "number 0" and so on, each followed by LENGTH times an x if LENGTH
//   is
//                 given
//   occupy        takes the channel as another listener does, reports it, and waits for a line
#include <cstdlib>
#include <iostream>
#include <string>

#include <windows.h>

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string text = argv[i];
        const size_t colon = text.find(':');
        const std::string what = text.substr(0, colon);
        const unsigned long count =
            colon == std::string::npos ? 0 : std::strtoul(argv[i] + colon + 1, nullptr, 10);
        if (what == "long")
            OutputDebugStringA(std::string(count, 'x').c_str());
        else if (what == "numbers")
        {
            const size_t slash = text.find('/');
            const std::string padding =
                slash == std::string::npos
                    ? ""
                    : " " + std::string(std::stoul(text.substr(slash + 1)), 'x');
            for (unsigned long k = 0; k < count; ++k)
                OutputDebugStringA(("number " + std::to_string(k) + padding).c_str());
        }
        else if (what == "occupy")
        {
            CreateEventA(nullptr, FALSE, FALSE, "DBWIN_BUFFER_READY");
            std::cout << "occupied" << std::endl;
            std::cin.get();
        }
        else
            OutputDebugStringA(text.c_str());
    }
    return 0;
}

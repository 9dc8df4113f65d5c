// Reads commands for power saving, one a line: "off REASON", "restore". Carries out each and
// answers "done". Ends with its input.
#include <cstdio>
#include <iostream>
#include <string>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

int main()
{
    std::string line;
    while (std::getline(std::cin, line))
    {
        if (line.starts_with("off "))
            QV_DisableWindowsPowerSave(nullptr, true, test::Wide(line.substr(4)));
        else
            QV_DisableWindowsPowerSave(nullptr, false, nullptr);
        std::puts("done");
        std::fflush(stdout);
    }
}

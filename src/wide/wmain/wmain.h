// The ways to declare a program's wmain. Each file here defines one by calling another.
#pragma once

int wmain();
int wmain(int count, wchar_t** words);
int wmain(int count, wchar_t** words, wchar_t** environment);
extern "C" int plinth_wide_c_wmain(int count, wchar_t** words) __asm__("wmain");

// The files of a folder and of the folders in it.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include "settings.h"

struct SourceFile
{
    std::wstring name; // relative to the folder
    ULONGLONG size;    // bytes
    ULONGLONG written; // 100 ns since 1601
};

std::wstring joined(const std::wstring& folder, const std::wstring& name);

// All files except those that the settings skip, sorted by name. False if the folder can't be read.
bool find_files(const std::wstring& folder, const Settings& settings,
                std::vector<SourceFile>& files);

// The files whose copy in the other folder is missing, older, or of another size.
std::vector<SourceFile> outdated(const std::vector<SourceFile>& files, const std::wstring& target);

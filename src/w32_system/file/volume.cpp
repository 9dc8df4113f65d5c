// Disk space, drives and volumes.
#include <cstdio>
#include <memory>
#include <new>

#include <windows.h>

#include <tchar.h>

#include "argument_check.h"
#include "file_internal.h"

namespace
{

constexpr const char* source_name = "src\\w32_system\\file\\file";

// The display name of removable media includes the serial number.
bool IsChangeable(UINT type)
{
    return type == DRIVE_REMOVABLE || type == DRIVE_CDROM || type == DRIVE_RAMDISK;
}

bool ReadLabel(const wchar_t* root, wchar_t* label, DWORD size, DWORD& serial)
{
    DWORD maxLength = 0;
    DWORD flags = 0;
    // Otherwise an empty drive would raise a dialog.
    const UINT former = SetErrorMode(SEM_FAILCRITICALERRORS);
    // The system refuses a buffer of size 0.
    const BOOL good = GetVolumeInformationW(root, size ? label : nullptr, size, &serial, &maxLength,
                                            &flags, nullptr, 0);
    SetErrorMode(former);
    return good != 0;
}

} // namespace

extern "C" int QV_GetDiskSpaces(const wchar_t* path, uint64_t* freeToCaller, uint64_t* total,
                                uint64_t* totalFree)
{
    return GetDiskFreeSpaceExW(path, reinterpret_cast<ULARGE_INTEGER*>(freeToCaller),
                               reinterpret_cast<ULARGE_INTEGER*>(total),
                               reinterpret_cast<ULARGE_INTEGER*>(totalFree))
               ? QV_OK
               : QV_ERR_DISKSPACE;
}

extern "C" int QV_GetLogicalDriveStrings(wchar_t* buffer, unsigned int size, unsigned int* needed)
{
    const DWORD count = GetLogicalDriveStringsW(size, buffer);
    if (count == 0)
        return QV_ERR_DRIVESTRINGS;
    if (count <= size)
        return QV_OK;
    if (needed)
        *needed = count;
    return QV_ERR_BUFFERSMALL;
}

extern "C" int QV_GetVolumeInformation(const wchar_t* root, QvVolumeInfo* info)
{
    if (!info)
        return QvRefuse(QV_ERR_NULLPTR, L"info==NULL", L"QV_GetVolumeInformation: No record.",
                        source_name, __LINE__);
    const UINT type = GetDriveTypeW(root);
    info->type = type <= DRIVE_RAMDISK ? type : DRIVE_UNKNOWN;
    if (!info->name && !info->extra)
        return QV_OK; // the type alone doesn't need a ready medium

    const std::unique_ptr<wchar_t[]> label(new (std::nothrow)
                                               wchar_t[static_cast<size_t>(info->nameSize) + 1]());
    if (!label)
        return QV_ERR_VOLUMEINFO;
    DWORD serial = 0;
    const bool good = ReadLabel(root, label.get(), info->nameSize, serial);
    info->flags = 0;
    if (!good)
        return QV_ERR_VOLUMEINFO;
    label[info->nameSize] = L'\0';

    if (info->name && info->nameSize)
    {
        if (IsChangeable(type))
            _snwprintf(info->name, info->nameSize, L"%s (%08lx)", label.get(), serial);
        else
            wcsncpy(info->name, label.get(), info->nameSize);
        info->name[info->nameSize - 1] = L'\0';
    }
    if (info->extra && info->extraSize)
        info->extra[0] = L'\0';
    return QV_OK;
}

extern "C" int QV_GetUNCPath(const wchar_t*, wchar_t*, unsigned int)
{
    return QV_ERR_NOTIMPL;
}

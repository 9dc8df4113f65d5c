// Converts local broken-down time to the automation layer's date, in UTC.
#include <windows.h>

#include <oleauto.h>

#include "argument_check.h"

extern "C" int QV_TmToVariantTime(const struct tm* pTm, double* pVariantTime)
{
    if (!pTm || !pVariantTime)
        return QvRefuse(QV_ERR_NULLPTR, L"pTm==NULL || pVariantTime==NULL",
                        L"QV_TmToVariantTime: No time, or no place for the result.",
                        "src\\w32_system\\locale\\locale", __LINE__);
    SYSTEMTIME time = {};
    time.wYear = static_cast<WORD>(static_cast<unsigned>(pTm->tm_year) + 1900u);
    time.wMonth = static_cast<WORD>(static_cast<unsigned>(pTm->tm_mon) + 1u);
    time.wDayOfWeek = static_cast<WORD>(pTm->tm_wday);
    time.wDay = static_cast<WORD>(pTm->tm_mday);
    time.wHour = static_cast<WORD>(pTm->tm_hour);
    time.wMinute = static_cast<WORD>(pTm->tm_min);
    time.wSecond = static_cast<WORD>(pTm->tm_sec);
    FILETIME local;
    FILETIME utc;
    if (!SystemTimeToFileTime(&time, &local) || !LocalFileTimeToFileTime(&local, &utc) ||
        !FileTimeToSystemTime(&utc, &time) || !SystemTimeToVariantTime(&time, pVariantTime))
        return QV_ERR_SYSTEM;
    return QV_OK;
}

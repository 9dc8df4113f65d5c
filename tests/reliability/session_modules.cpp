// Modules, sections, versions and resources; the identity of the process and the system; numbers,
// dates, identifiers; figures of memory, and the settings of power saving.
#include <ctime>

#include "session.h"

namespace
{

void loaded_module(Session& session)
{
    __qv_hmodule* const module = QV_LoadLibrary(test::Wide(PLINTH_TEST_MODULES "/plugin.dll"));
    if (!session.worked("QV_LoadLibrary", module != nullptr))
        return;
    auto* const answer = reinterpret_cast<int (*)()>(QV_GetSymbol(module, "plugin_answer"));
    if (session.worked("QV_GetSymbol", answer != nullptr))
        session.holds("another answer", answer() == 42);
    wchar_t path[512] = L"";
    CALL(QV_GetModuleFileName(module, path, 512));
    CALL(QV_UnloadLibrary(module), QV_ERR_SYSTEM);
}

void resources(Session& session)
{
    std::error_code failed;
    std::filesystem::copy_file(PLINTH_TEST_MODULES "/module64.dll", session.native("module"),
                               std::filesystem::copy_options::overwrite_existing, failed);
    const std::string original = content(session.native("module"));
    std::ofstream(session.native("data")) << "stored bytes";
    const test::Wide module = session.path("module");

    void* segment = nullptr;
    uint32_t size = 0;
    CALL(QV_GetDataSeg(module, ".rsrc", &segment, &size), QV_ERR_NOFILE, QV_ERR_SYSTEM);
    CALL(QV_FreeDataSeg(&segment));
    session.worked("QV_GetModulePatchNumber", QV_GetModulePatchNumber(module) != 0);
    if (!CALL(QV_ResourceToDll(L"Stored", module, session.path("data")), QV_ERR_SYSTEM))
        session.holds("a module that was to stay as it was has changed",
                      content(session.native("module")) == original);
    if (CALL(QV_DllToResource(L"Stored", module, session.path("out")), QV_ERR_SYSTEM))
        session.holds("another resource", content(session.native("out")) == "stored bytes");

    CQvRscData all;
    // The program itself, whose file stays open from the first use on.
    QV_RCDATAToCQvRscDataByID(all, static_cast<__qv_hmodule*>(nullptr), 1, -1);
    session.holds("a resource that the program has not", all.GetCQvByteArrayW32Count() == 0);
    QV_RCDATAToCQvRscData(all, module);
    session.worked("QV_RCDATAToCQvRscData", all.GetCQvByteArrayW32Count() > 0);
}

void numbers(Session& session)
{
    wchar_t text[64] = L"";
    char narrow[16] = "";
    double value = 0.0;
    session.worked("QV_DoubleToString", QV_DoubleToString(-1234.5, 2, text, 64));
    session.worked("QV_StringToDouble", QV_StringToDouble(L"12.25 kg", &value));
    session.worked("QV_WChar2Char", QV_WChar2Char(L"text", -1, narrow, 16) == 5);
}

void dates(Session& session)
{
    const tm when = {0, 0, 0, 1, 0, 120, 0, 0, 0, 0, nullptr};
    const SYSTEMTIME now = {2020, 5, 0, 6, 0, 0, 0, 0};
    double variant = 0.0;
    wchar_t date[64] = L"", time[64] = L"";
    CALL(QV_TmToVariantTime(&when, &variant), QV_ERR_SYSTEM);
    CALL(QV_GetLocaleDateTimeFormat(date, 64, time, 64));
    CALL(QV_GetLocaleUserDateTimeFormat(date, 64));
    CALL(QV_FormatLocaleDateTime(&now, date, 64, time, 64), QV_ERR_SYSTEM);
}

} // namespace

void module_part(Session& session)
{
    loaded_module(session);
    resources(session);
}

void identity_part(Session& session)
{
    // Read as the library is loaded: after a failure then, the version is missing until it is
    // unloaded.
    OSVERSIONINFOW version = {};
    CQvWinVersion::GetOSVersionInfo(version);
    session.holds("answers that differ from the version",
                  CQvWinVersion::IsWinVistaOrGreater() == (version.dwMajorVersion >= 6));
    QV_IsLocalOption(L"option");
}

void text_part(Session& session)
{
    numbers(session);
    dates(session);
    UUID id = {};
    CALL(QV_Generate_Uuid(&id), QV_ERR_SYSTEM);
}

void memory_part(Session& session)
{
    uint64_t physical = 0, other[5] = {}, committed = 0, limit = 0, overflow = 0;
    CALL(QV_GetMemoryStatus(&physical, other, other + 1, other + 2, other + 3, other + 4));
    session.worked("QV_GetMemoryStatus", physical != 0);
    CALL(QV_GetMemoryInfo(other, other + 1, other + 2, &physical, other + 3, other + 4),
         QV_ERR_SYSTEM);
    CALL(QV_GetAllocLimit(&committed, &limit), QV_ERR_SYSTEM);
    // The limit is worked out once: after a fault then, it is 0 until the library is unloaded.
    if (limit != 0)
        session.worked("QV_CheckSingleDocumentSizeOverflow",
                       // Whether a small document fits depends on the machine's other work.
                       QV_CheckSingleDocumentSizeOverflow(UINT64_MAX / 2, &overflow, true));
}

void power_part(Session& session)
{
    CALL(QV_DisableWindowsPowerSave(nullptr, true, L"a fault sweep"));
    CALL(QV_DisableWindowsPowerSave(nullptr, false, nullptr));
}

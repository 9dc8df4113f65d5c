// Modules, sections, versions and resources; who the process and the system are.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "session.h"

namespace sweep
{

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
    session.ok("QV_GetModuleFileName", QV_GetModuleFileName(module, path, 512), {});
    session.ok("QV_UnloadLibrary", QV_UnloadLibrary(module), {QV_ERR_SYSTEM});
}

std::string content(const std::string& native)
{
    std::ifstream file(native, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void resources(Session& session)
{
    std::error_code failed;
    const auto over = std::filesystem::copy_options::overwrite_existing;
    std::filesystem::copy_file(PLINTH_TEST_MODULES "/module64.dll", session.native("module"), over,
                               failed);
    const std::string original = content(session.native("module"));
    std::ofstream(session.native("data")) << "stored bytes";

    void* data = nullptr;
    uint32_t size = 0;
    session.ok("QV_GetDataSeg", QV_GetDataSeg(session.path("module"), ".rsrc", &data, &size),
               {QV_ERR_NOFILE, QV_ERR_SYSTEM});
    session.ok("QV_FreeDataSeg", QV_FreeDataSeg(&data), {});
    session.worked("QV_GetModulePatchNumber", QV_GetModulePatchNumber(session.path("module")) != 0);

    const bool stored = session.ok(
        "QV_ResourceToDll",
        QV_ResourceToDll(L"Stored", session.path("module"), session.path("data")), {QV_ERR_SYSTEM});
    if (!stored)
        session.holds("a module that was to stay as it was has changed",
                      content(session.native("module")) == original);
    if (session.ok("QV_DllToResource",
                   QV_DllToResource(L"Stored", session.path("module"), session.path("out")),
                   {QV_ERR_SYSTEM}))
        session.holds("another resource", content(session.native("out")) == "stored bytes");

    CQvRscData all;
    // The program itself, whose file stays open from the first time on.
    QV_RCDATAToCQvRscDataByID(all, static_cast<__qv_hmodule*>(nullptr), 1, -1);
    session.holds("a resource that the program has not", all.GetCQvByteArrayW32Count() == 0);
    QV_RCDATAToCQvRscDataByID(all, session.path("module"), 1033, -1);
    session.worked("QV_RCDATAToCQvRscDataByID", all.GetCQvByteArrayW32Count() == 1);
    QV_RCDATAToCQvRscData(all, session.path("module"));
    session.worked("QV_RCDATAToCQvRscData", all.GetCQvByteArrayW32Count() > 0);
}

} // namespace

void module_part(Session& session)
{
    loaded_module(session);
    resources(session);
}

void identity_part(Session& session)
{
    // Read as the library is loaded: if that failed, the version is missing for its whole life.
    OSVERSIONINFOW version = {};
    CQvWinVersion::GetOSVersionInfo(version);
    session.holds("answers that differ from the version",
                  CQvWinVersion::IsWinVistaOrGreater() == (version.dwMajorVersion >= 6));
    QV_IsLocalOption(L"option");
    session.holds("another main thread", QV_GetMainThreadId() == QV_GetMainThreadId() &&
                                             QV_CompareThreadId(1, 1, L"compared"));
    wchar_t path[512] = L"";
    session.ok("QV_GetModuleFileName", QV_GetModuleFileName(nullptr, path, 512), {});
    session.worked("QV_GetModuleFileName", path[0] != 0);
}

} // namespace sweep

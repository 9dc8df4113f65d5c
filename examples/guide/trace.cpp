// Trace records: stamped lines with tags, for the log and for programs that listen.
#include <plinth_w32_system.h>

namespace
{

void import_files(int count)
{
    const CQvTraceExecutionTime measure(L"import_files", 0); // one record at the end of the block
    for (int i = 1; i <= count; ++i)
        DiagOutputExW(L"|wndid:2| file %d, |adt03| ms since the last", i);
}

} // namespace

int main()
{
    DiagOutputExW_hlp(__FILE__, __LINE__);
    DiagOutputExW(L"|wndid:1| |appnm| begins, at |srcid|");
    import_files(3);
    DiagOutputExW(L"|wndid:1| thread |thrid|: %s and %hs", L"wide", "narrow");

    const unsigned int before = QV_SetTraceOptions(QV_DIAG_LOGFILE); // to the log alone
    DiagOutputExW(L"|wndid:1| only in the log");
    QV_SetTraceOptions(before);
    return 0;
}

// Common controls: the list view, in its report mode.
#ifndef PLINTH_PLATFORM_COMMCTRL_H
#define PLINTH_PLATFORM_COMMCTRL_H

#include "winuser.h"

#ifdef __cplusplus
extern "C"
{
#endif

#define WC_LISTVIEWW L"SysListView32"

#define LVS_REPORT 0x0001u
#define LVS_EDITLABELS 0x0200u

#define LVCF_FMT 0x0001u
#define LVCF_WIDTH 0x0002u
#define LVCF_TEXT 0x0004u
#define LVCF_SUBITEM 0x0008u
#define LVCFMT_LEFT 0x0000

#define LVIF_TEXT 0x0001u
#define LVIF_PARAM 0x0004u

    // Rows (items) and columns (subitems) are numbered from 0.
#define LVM_FIRST 0x1000u
#define LVM_GETITEMCOUNT (LVM_FIRST + 4)
#define LVM_DELETEITEM (LVM_FIRST + 8)
#define LVM_DELETEALLITEMS (LVM_FIRST + 9)
#define LVM_ENSUREVISIBLE (LVM_FIRST + 19)
#define LVM_GETEDITCONTROL (LVM_FIRST + 24) // null while no label is edited
#define LVM_DELETECOLUMN (LVM_FIRST + 28)
#define LVM_GETCOLUMNWIDTH (LVM_FIRST + 29)
#define LVM_SETCOLUMNWIDTH (LVM_FIRST + 30)
#define LVM_GETTOPINDEX (LVM_FIRST + 39)
#define LVM_GETCOUNTPERPAGE (LVM_FIRST + 40)
#define LVM_GETITEMW (LVM_FIRST + 75)
#define LVM_SETITEMW (LVM_FIRST + 76)
#define LVM_INSERTITEMW (LVM_FIRST + 77)
#define LVM_GETCOLUMNW (LVM_FIRST + 95)
#define LVM_SETCOLUMNW (LVM_FIRST + 96)
#define LVM_INSERTCOLUMNW (LVM_FIRST + 97)
#define LVM_GETITEMTEXTW (LVM_FIRST + 115)
#define LVM_SETITEMTEXTW (LVM_FIRST + 116)
    // Starts the editing of a row's label, its first cell, in a list with LVS_EDITLABELS: returns a
    // window of class "Edit", or null. Ends any earlier editing, keeping its text; -1 only ends
    // that, and cancels it. The edit window takes WM_SETTEXT; VK_RETURN and WM_KILLFOCUS keep its
    // text, VK_ESCAPE cancels.
#define LVM_EDITLABELW (LVM_FIRST + 118)
#define LVM_CANCELEDITLABEL (LVM_FIRST + 179)

    // Sent to the parent, as WM_NOTIFY with an NMLVDISPINFOW. At the first one the edit window
    // exists already; TRUE refuses it. The second has the new text, null if the editing was
    // cancelled; TRUE accepts it into the list.
#define LVN_FIRST (0u - 100u)
#define LVN_BEGINLABELEDITW (LVN_FIRST - 75)
#define LVN_ENDLABELEDITW (LVN_FIRST - 76)

    typedef struct LVCOLUMNW
    {
        UINT mask; // LVCF_...: the members that are used
        int fmt;
        int cx; // pixels
        LPWSTR pszText;
        int cchTextMax; // room at pszText when it is written to, terminator included
        int iSubItem;
        int iImage;
        int iOrder;
        int cxMin;
        int cxDefault;
        int cxIdeal;
    } LVCOLUMNW, *LPLVCOLUMNW;

    typedef struct LVITEMW
    {
        UINT mask; // LVIF_...
        int iItem;
        int iSubItem;
        UINT state;
        UINT stateMask;
        LPWSTR pszText;
        int cchTextMax;
        int iImage;
        LPARAM lParam; // for the program's use, one for each row
        int iIndent;
        int iGroupId;
        UINT cColumns;
        PUINT puColumns;
        int* piColFmt;
        int iGroup;
    } LVITEMW, *LPLVITEMW;

    typedef struct NMLVDISPINFOW
    {
        NMHDR hdr;
        LVITEMW item;
    } NMLVDISPINFOW, *LPNMLVDISPINFOW;

    // Registers the classes of the controls.
    PLINTH_PLATFORM_API void WINAPI InitCommonControls(void);

#ifdef __cplusplus
}
static_assert(sizeof(LVCOLUMNW) == 56 && offsetof(LVCOLUMNW, cchTextMax) == 24);
static_assert(sizeof(LVITEMW) == 88 && offsetof(LVITEMW, pszText) == 24 &&
              offsetof(LVITEMW, lParam) == 40);
static_assert(sizeof(NMLVDISPINFOW) == 112 && offsetof(NMLVDISPINFOW, item) == 24);
#endif

#endif

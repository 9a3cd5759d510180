// Published declarations of the control classes: BUTTON, EDIT, COMBOBOX, msctls_trackbar32, SysListView32 and its
// header.
#pragma once

#include "platform/linux/win32_windows.h"

// What a control tells its parent.

struct NMHDR {
    HWND hwndFrom;
    UINT_PTR idFrom;
    UINT code;
};

#define ODT_COMBOBOX 3
#define ODT_BUTTON 4
#define ODA_DRAWENTIRE 0x0001
#define ODS_SELECTED 0x0001
#define ODS_DISABLED 0x0004
#define ODS_FOCUS 0x0010
#define ODS_NOFOCUSRECT 0x0200
#define ODS_COMBOBOXEDIT 0x1000

struct DRAWITEMSTRUCT {
    UINT CtlType;
    UINT CtlID;
    UINT itemID;
    UINT itemAction;
    UINT itemState;
    HWND hwndItem;
    HDC hDC;
    RECT rcItem;
    ULONG_PTR itemData;
};

struct MEASUREITEMSTRUCT {
    UINT CtlType;
    UINT CtlID;
    UINT itemID;
    UINT itemWidth;
    UINT itemHeight;
    ULONG_PTR itemData;
};

#define DLGC_WANTARROWS 0x0001
#define DLGC_WANTALLKEYS 0x0004
#define DLGC_HASSETSEL 0x0008
#define DLGC_BUTTON 0x2000
#define DLGC_WANTCHARS 0x0080

// BUTTON, always owner-drawn. A double click counts as BN_CLICKED and then BN_DOUBLECLICKED.
#define BS_OWNERDRAW 0x0000000BU
#define BN_CLICKED 0
#define BN_DOUBLECLICKED 5

// EDIT. A limit counts for what is typed, and for single lines only.
#define ES_MULTILINE 0x0004U
#define ES_AUTOVSCROLL 0x0040U
#define ES_AUTOHSCROLL 0x0080U
#define ES_READONLY 0x0800U
#define ES_NUMBER 0x2000U
#define EM_GETSEL 0x00B0
#define EM_SETSEL 0x00B1
#define EM_LINESCROLL 0x00B6
#define EM_SCROLLCARET 0x00B7
#define EM_SETLIMITTEXT 0x00C5
#define EM_GETFIRSTVISIBLELINE 0x00CE

// COMBOBOX. The height given to it is that of the control with its list open.
#define CBS_DROPDOWN 0x0002U
#define CBS_DROPDOWNLIST 0x0003U
#define CBS_OWNERDRAWFIXED 0x0010U
#define CBS_AUTOHSCROLL 0x0040U
#define CBS_HASSTRINGS 0x0200U
#define CB_ADDSTRING 0x0143
#define CB_GETCURSEL 0x0147
#define CB_RESETCONTENT 0x014B
#define CB_SETCURSEL 0x014E
#define CB_SETITEMHEIGHT 0x0153
#define CB_ERR (-1)
#define CBN_SELCHANGE 1

// msctls_trackbar32, horizontal.
#define TBS_NOTICKS 0x0010U
#define TBM_GETPOS (WM_USER)
#define TBM_SETPOS (WM_USER + 5)
#define TBM_SETRANGE (WM_USER + 6)
#define SB_LINELEFT 0
#define SB_LINERIGHT 1
#define SB_PAGELEFT 2
#define SB_PAGERIGHT 3
#define SB_THUMBPOSITION 4
#define SB_THUMBTRACK 5
#define SB_LEFT 6
#define SB_RIGHT 7
#define SB_ENDSCROLL 8

// SysListView32: a virtual list in report view that asks for the texts of the rows that it shows.
#define LVS_REPORT 0x0001U
#define LVS_SHOWSELALWAYS 0x0008U
#define LVS_OWNERDATA 0x1000U
#define LVS_EX_FULLROWSELECT 0x00000020
#define LVS_EX_DOUBLEBUFFER 0x00010000

#define LVM_FIRST 0x1000
#define LVM_SETBKCOLOR (LVM_FIRST + 1)
#define LVM_GETNEXTITEM (LVM_FIRST + 12)
#define LVM_GETCOLUMNWIDTH (LVM_FIRST + 29)
#define LVM_SETCOLUMNWIDTH (LVM_FIRST + 30)
#define LVM_GETHEADER (LVM_FIRST + 31)
#define LVM_SETTEXTCOLOR (LVM_FIRST + 36)
#define LVM_SETTEXTBKCOLOR (LVM_FIRST + 38)
#define LVM_SETITEMSTATE (LVM_FIRST + 43)
#define LVM_SETITEMCOUNT (LVM_FIRST + 47)
#define LVM_GETSELECTEDCOUNT (LVM_FIRST + 50)
#define LVM_SETEXTENDEDLISTVIEWSTYLE (LVM_FIRST + 54)
#define LVM_SETCOLUMNW (LVM_FIRST + 96)
#define LVM_INSERTCOLUMNW (LVM_FIRST + 97)

#define LVCF_WIDTH 0x0002
#define LVCF_TEXT 0x0004
#define LVCF_SUBITEM 0x0008
#define LVIF_TEXT 0x00000001
#define LVIF_STATE 0x00000008
#define LVIS_FOCUSED 0x0001
#define LVIS_SELECTED 0x0002
#define LVNI_SELECTED 0x0002
#define LVSICF_NOINVALIDATEALL 0x00000001

#define NM_DBLCLK (0U - 3U)
#define NM_CUSTOMDRAW (0U - 12U)
#define LVN_ITEMCHANGED (0U - 101U)
#define LVN_COLUMNCLICK (0U - 108U)
#define LVN_ODSTATECHANGED (0U - 115U)
#define LVN_GETDISPINFOW (0U - 177U)

struct LVCOLUMNW {
    UINT mask;
    int fmt;
    int cx;
    LPWSTR pszText;
    int cchTextMax;
    int iSubItem;
    int iImage;
    int iOrder;
    int cxMin;
    int cxDefault;
    int cxIdeal;
};

struct LVITEMW {
    UINT mask;
    int iItem;
    int iSubItem;
    UINT state;
    UINT stateMask;
    LPWSTR pszText;
    int cchTextMax;
    int iImage;
    LPARAM lParam;
    int iIndent;
    int iGroupId;
    UINT cColumns;
    UINT *puColumns;
    int *piColFmt;
    int iGroup;
};

struct NMLVDISPINFOW {
    NMHDR hdr;
    LVITEMW item;
};

struct NMLISTVIEW {
    NMHDR hdr;
    int iItem; ///< -1 stands for all of them
    int iSubItem;
    UINT uNewState;
    UINT uOldState;
    UINT uChanged;
    POINT ptAction;
    LPARAM lParam;
};

struct NMLVODSTATECHANGE {
    NMHDR hdr;
    int iFrom;
    int iTo;
    UINT uNewState;
    UINT uOldState;
};

struct NMITEMACTIVATE {
    NMHDR hdr;
    int iItem;
    int iSubItem;
    UINT uNewState;
    UINT uOldState;
    UINT uChanged;
    POINT ptAction;
    LPARAM lParam;
    UINT uKeyFlags;
};

// The header of a list, its child. It asks its parent with NM_CUSTOMDRAW; what is left to it it draws in the
// system's way.
#define HDM_FIRST 0x1200
#define HDM_GETITEMW (HDM_FIRST + 11)
#define HDI_TEXT 0x0002

struct HDITEMW {
    UINT mask;
    int cxy;
    LPWSTR pszText;
    HBITMAP hbm;
    int cchTextMax;
    int fmt;
    LPARAM lParam;
    int iImage;
    int iOrder;
    UINT type;
    void *pvFilter;
    UINT state;
};

#define CDDS_PREPAINT 0x00000001
#define CDDS_ITEM 0x00010000
#define CDDS_ITEMPREPAINT (CDDS_ITEM | CDDS_PREPAINT)
#define CDRF_DODEFAULT 0x00000000
#define CDRF_SKIPDEFAULT 0x00000004
#define CDRF_NOTIFYITEMDRAW 0x00000020

struct NMCUSTOMDRAW {
    NMHDR hdr;
    DWORD dwDrawStage;
    HDC hdc;
    RECT rc;
    DWORD_PTR dwItemSpec;
    UINT uItemState;
    LPARAM lItemlParam;
};

#define ICC_LISTVIEW_CLASSES 0x00000001
#define ICC_BAR_CLASSES 0x00000004
#define ICC_PROGRESS_CLASS 0x00000020

struct INITCOMMONCONTROLSEX {
    DWORD dwSize;
    DWORD dwICC;
};

/// All classes are there from the start.
BOOL WINAPI InitCommonControlsEx(const INITCOMMONCONTROLSEX *classes);

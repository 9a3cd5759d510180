// Published declarations of message boxes, task dialogs, the folder dialog and popup menus.
#pragma once

#include "platform/linux/win32_shell_items.h"
#include "platform/linux/win32_windows.h"

#define MB_YESNO 0x00000004U
#define MB_ICONERROR 0x00000010U
#define MB_ICONQUESTION 0x00000020U
#define MB_ICONWARNING 0x00000030U
#define MB_ICONINFORMATION 0x00000040U
#define MB_DEFBUTTON2 0x00000100U
#define MB_RIGHT 0x00080000U
#define MB_RTLREADING 0x00100000U

/// Only the flags above. The window, if any, cannot be used until the answer.
int WINAPI MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT flags);

#define TDF_ALLOW_DIALOG_CANCELLATION 0x0008
#define TDF_POSITION_RELATIVE_TO_WINDOW 0x1000
#define TDF_RTL_LAYOUT 0x2000
#define TD_WARNING_ICON MAKEINTRESOURCEW(-1)
#define TD_ERROR_ICON MAKEINTRESOURCEW(-2)
#define TD_INFORMATION_ICON MAKEINTRESOURCEW(-3)

using TASKDIALOG_FLAGS = int;
using TASKDIALOG_COMMON_BUTTON_FLAGS = int;
using PFTASKDIALOGCALLBACK = HRESULT(CALLBACK *)(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                                 LONG_PTR reference);

#pragma pack(push, 1)
struct TASKDIALOG_BUTTON {
    int nButtonID;
    PCWSTR pszButtonText;
};

struct TASKDIALOGCONFIG {
    UINT cbSize;
    HWND hwndParent;
    HINSTANCE hInstance;
    TASKDIALOG_FLAGS dwFlags;
    TASKDIALOG_COMMON_BUTTON_FLAGS dwCommonButtons;
    PCWSTR pszWindowTitle;
    union {
        HICON hMainIcon;
        PCWSTR pszMainIcon;
    };
    PCWSTR pszMainInstruction;
    PCWSTR pszContent;
    UINT cButtons;
    const TASKDIALOG_BUTTON *pButtons;
    int nDefaultButton;
    UINT cRadioButtons;
    const TASKDIALOG_BUTTON *pRadioButtons;
    int nDefaultRadioButton;
    PCWSTR pszVerificationText;
    PCWSTR pszExpandedInformation;
    PCWSTR pszExpandedControlText;
    PCWSTR pszCollapsedControlText;
    union {
        HICON hFooterIcon;
        PCWSTR pszFooterIcon;
    };
    PCWSTR pszFooter;
    PFTASKDIALOGCALLBACK pfCallback;
    LONG_PTR lpCallbackData;
    UINT cxWidth;
};
#pragma pack(pop)

/// With a title, a content, an icon and own buttons; E_INVALIDARG where more is asked for. Gives the id of the button,
/// IDCANCEL where the dialog was cancelled.
HRESULT WINAPI TaskDialogIndirect(const TASKDIALOGCONFIG *config, int *button, int *radioButton, BOOL *verified);

// The folder dialog. Of what it can do here count Show, the options, the title and the result.

#define FOS_NOCHANGEDIR 0x00000008
#define FOS_PICKFOLDERS 0x00000020
#define FOS_FORCEFILESYSTEM 0x00000040
#define FOS_PATHMUSTEXIST 0x00000800
#define CLSCTX_INPROC_SERVER 0x1

using REFCLSID = const GUID &;
using FILEOPENDIALOGOPTIONS = DWORD;
enum FDAP { FDAP_BOTTOM = 0, FDAP_TOP = 1 };
struct COMDLG_FILTERSPEC;
struct IFileDialogEvents;
struct IShellItemFilter;

inline constexpr GUID CLSID_FileOpenDialog = {
    0xDC1C5A9C, 0xE88A, 0x4DDE, {0xA5, 0xA1, 0x60, 0xF8, 0x2A, 0x20, 0xAE, 0xF7}};
inline constexpr IID IID_IFileDialog = {0x42F85136, 0xDB7E, 0x439C, {0x85, 0xF1, 0xE4, 0x07, 0x5D, 0x13, 0x5F, 0xC8}};

struct IModalWindow : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Show(HWND hwndOwner) = 0;
};

struct IFileDialog : IModalWindow {
    virtual HRESULT STDMETHODCALLTYPE SetFileTypes(UINT cFileTypes, const COMDLG_FILTERSPEC *rgFilterSpec) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetFileTypeIndex(UINT iFileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFileTypeIndex(UINT *piFileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(IFileDialogEvents *pfde, DWORD *pdwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(DWORD dwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetOptions(FILEOPENDIALOGOPTIONS fos) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOptions(FILEOPENDIALOGOPTIONS *pfos) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultFolder(IShellItem *psi) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetFolder(IShellItem *psi) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFolder(IShellItem **ppsi) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentSelection(IShellItem **ppsi) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetFileName(LPCWSTR pszName) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFileName(LPWSTR *pszName) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTitle(LPCWSTR pszTitle) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetOkButtonLabel(LPCWSTR pszText) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetFileNameLabel(LPCWSTR pszLabel) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetResult(IShellItem **ppsi) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddPlace(IShellItem *psi, FDAP fdap) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultExtension(LPCWSTR pszDefaultExtension) = 0;
    virtual HRESULT STDMETHODCALLTYPE Close(HRESULT hr) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetClientGuid(REFGUID guid) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearClientData() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetFilter(IShellItemFilter *pFilter) = 0;
};

#define REGDB_E_CLASSNOTREG (static_cast<HRESULT>(0x80040154))
/// The file dialog, and no other class.
HRESULT WINAPI CoCreateInstance(REFCLSID classId, IUnknown *outer, DWORD context, REFIID riid, LPVOID *object);

// Popup menus.

#define MF_STRING 0x00000000U
#define MF_SEPARATOR 0x00000800U
#define TPM_RIGHTBUTTON 0x0002U
#define TPM_NONOTIFY 0x0080U
#define TPM_RETURNCMD 0x0100U
#define TPM_LAYOUTRTL 0x8000U

struct TPMPARAMS;

HMENU WINAPI CreatePopupMenu();
BOOL WINAPI AppendMenuW(HMENU menu, UINT flags, UINT_PTR id, LPCWSTR text);
/// By the command, not by the position.
BOOL WINAPI SetMenuDefaultItem(HMENU menu, UINT id, UINT byPosition);
/// Only with TPM_RETURNCMD: gives the command chosen, 0 for none.
BOOL WINAPI TrackPopupMenuEx(HMENU menu, UINT flags, int x, int y, HWND window, TPMPARAMS *parameters);
BOOL WINAPI DestroyMenu(HMENU menu);

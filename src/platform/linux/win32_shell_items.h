// Published declarations of shell items and of the shell's copy engine.
#pragma once

#include "platform/linux/win32_base.h"
#include "platform/linux/win32_shell.h"

#define STDMETHODCALLTYPE

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;
};

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IShellItem = {0x43826D1E, 0xE718, 0x42EE, {0xBC, 0x55, 0xA1, 0xE2, 0x61, 0xC3, 0x7B, 0xFE}};
inline constexpr IID IID_ITransferAdviseSink = {
    0xD594D0D8, 0x8DA7, 0x457B, {0xB3, 0xB4, 0xCE, 0x5D, 0xBA, 0xAC, 0x0B, 0x88}};
inline constexpr IID IID_ITransferSource = {
    0x00ADB003, 0xBDE9, 0x45C6, {0x8E, 0x29, 0xD0, 0x9F, 0x93, 0x53, 0xE1, 0x08}};
inline constexpr GUID BHID_Transfer = {0xD5E346A1, 0xF753, 0x4932, {0xB4, 0x03, 0x45, 0x74, 0x80, 0x0E, 0x24, 0x98}};
inline constexpr KNOWNFOLDERID FOLDERID_RecycleBinFolder = {
    0xB7534046, 0x3ECB, 0x4C18, {0xBE, 0x4E, 0x64, 0xCD, 0x4C, 0xB7, 0xD6, 0xAC}};

#define COPYENGINE_E_USER_CANCELLED (static_cast<HRESULT>(0x80270000))

enum SIGDN { SIGDN_FILESYSPATH = static_cast<int>(0x80058000) };
using SICHINTF = DWORD;
using SFGAOF = ULONG;
struct IBindCtx;

struct IShellItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE BindToHandler(IBindCtx *pbc, REFGUID bhid, REFIID riid, void **ppv) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParent(IShellItem **ppsi) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDisplayName(SIGDN sigdnName, LPWSTR *ppszName) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAttributes(SFGAOF sfgaoMask, SFGAOF *psfgaoAttribs) = 0;
    virtual HRESULT STDMETHODCALLTYPE Compare(IShellItem *psi, SICHINTF hint, int *piOrder) = 0;
};

struct PROPERTYKEY {
    GUID fmtid;
    DWORD pid;
};
using TRANSFER_ADVISE_STATE = DWORD;
enum { TS_PERFORMING = 1, TS_PREPARING = 2 };

/// What a transfer source tells while it works, and asks; a failure as the answer ends the transfer.
struct ITransferAdviseSink : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE UpdateProgress(ULONGLONG ullSizeCurrent, ULONGLONG ullSizeTotal,
                                                     int nFilesCurrent, int nFilesTotal, int nFoldersCurrent,
                                                     int nFoldersTotal) = 0;
    virtual HRESULT STDMETHODCALLTYPE UpdateTransferState(TRANSFER_ADVISE_STATE ts) = 0;
    virtual HRESULT STDMETHODCALLTYPE ConfirmOverwrite(IShellItem *psiSource, IShellItem *psiDestParent,
                                                       LPCWSTR pszName) = 0;
    virtual HRESULT STDMETHODCALLTYPE ConfirmEncryptionLoss(IShellItem *psiSource) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileFailure(IShellItem *psi, LPCWSTR pszItem, HRESULT hrError, LPWSTR pszRename,
                                                  ULONG cchRename) = 0;
    virtual HRESULT STDMETHODCALLTYPE SubStreamFailure(IShellItem *psi, LPCWSTR pszStreamName, HRESULT hrError) = 0;
    virtual HRESULT STDMETHODCALLTYPE PropertyFailure(IShellItem *psi, const PROPERTYKEY *pkey, HRESULT hrError) = 0;
};

using TRANSFER_SOURCE_FLAGS = DWORD;
enum { TSF_NORMAL = 0 };
struct IPropertyChangeArray;

/// RecycleItem renames one file into the trash of its volume. HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED) where there is
/// none to be used, or only a copy would bring the file there. What the sink answers is heeded until the rename. The
/// other transfers do not exist here.
struct ITransferSource : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Advise(ITransferAdviseSink *psink, DWORD *pdwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(DWORD dwCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProperties(IPropertyChangeArray *pproparray) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenItem(IShellItem *psi, TRANSFER_SOURCE_FLAGS flags, REFIID riid,
                                               void **ppv) = 0;
    virtual HRESULT STDMETHODCALLTYPE MoveItem(IShellItem *psi, IShellItem *psiParentDst, LPCWSTR pszNameDst,
                                               TRANSFER_SOURCE_FLAGS flags, IShellItem **ppsiNew) = 0;
    virtual HRESULT STDMETHODCALLTYPE RecycleItem(IShellItem *psiSource, IShellItem *psiParentDest,
                                                  TRANSFER_SOURCE_FLAGS flags, IShellItem **ppsiNewDest) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveItem(IShellItem *psiSource, TRANSFER_SOURCE_FLAGS flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenameItem(IShellItem *psiSource, LPCWSTR pszNewName, TRANSFER_SOURCE_FLAGS flags,
                                                 IShellItem **ppsiNewDest) = 0;
    virtual HRESULT STDMETHODCALLTYPE LinkItem(IShellItem *psiSource, IShellItem *psiParentDest, LPCWSTR pszNewName,
                                               TRANSFER_SOURCE_FLAGS flags, IShellItem **ppsiNewDest) = 0;
    virtual HRESULT STDMETHODCALLTYPE ApplyPropertiesToItem(IShellItem *psiSource, IShellItem **ppsiNew) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDefaultDestinationName(IShellItem *psiSource, IShellItem *psiParentDest,
                                                                LPWSTR *ppszDestinationName) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnterFolder(IShellItem *psiChildFolderDest) = 0;
    virtual HRESULT STDMETHODCALLTYPE LeaveFolder(IShellItem *psiChildFolderDest) = 0;
};

enum KNOWN_FOLDER_FLAG { KF_FLAG_DEFAULT = 0 };

/// The Recycle Bin as an item: FOLDERID_RecycleBinFolder, and no other.
HRESULT WINAPI SHGetKnownFolderItem(REFKNOWNFOLDERID folder, KNOWN_FOLDER_FLAG flags, HANDLE token, REFIID riid,
                                    void **item);
/// An item for what exists at a path, a link not being followed. The item is the path and holds nothing open.
HRESULT WINAPI SHCreateItemFromParsingName(PCWSTR path, IBindCtx *context, REFIID riid, void **item);

#pragma pack(push, 1)
struct SHITEMID {
    USHORT cb;
    BYTE abID[1];
};
struct ITEMIDLIST {
    SHITEMID mkid;
};
#pragma pack(pop)
using PIDLIST_ABSOLUTE = ITEMIDLIST *;

/// The item identifier list of the Recycle Bin, to be freed with CoTaskMemFree; no other item has one.
HRESULT WINAPI SHGetIDListFromObject(IUnknown *object, PIDLIST_ABSOLUTE *list);

#define SHCNE_DELETE 0x00000004
#define SHCNE_UPDATEDIR 0x00001000
#define SHCNF_IDLIST 0x0000U
#define SHCNF_PATHW 0x0005U
/// Nobody need be told: what shows folders here watches them itself.
void WINAPI SHChangeNotify(LONG event, UINT flags, LPCVOID first, LPCVOID second);

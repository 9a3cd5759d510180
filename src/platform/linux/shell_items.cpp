#include "platform/linux/win32_shell_items.h"

#include "platform/linux/trash_move.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <utility>

using namespace dm;
using namespace dm::platform;

namespace {

/// The counting of references, and the one interface that an object has beside IUnknown.
template <typename Interface, const IID &interfaceId>
class Counted : public Interface {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override {
        if (object == nullptr)
            return E_POINTER;
        *object = riid == IID_IUnknown || riid == interfaceId ? static_cast<Interface *>(this) : nullptr;
        if (*object == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0)
            delete this;
        return left;
    }
    virtual ~Counted() = default;

private:
    std::atomic<ULONG> references_ = 1;
};

/// Gives a new object out under the interface that is asked for, which must be its own.
template <typename Type>
HRESULT give(Type *object, REFIID riid, void **given) {
    const HRESULT result = object->QueryInterface(riid, given);
    object->Release();
    return result;
}

class ShellItem final : public Counted<IShellItem, IID_IShellItem> {
public:
    /// The Recycle Bin has no path.
    explicit ShellItem(WString path) : path_(std::move(path)) {}

    const WString &path() const { return path_; }
    bool isRecycleBin() const { return path_.empty(); }

    HRESULT STDMETHODCALLTYPE BindToHandler(IBindCtx *, REFGUID handler, REFIID riid, void **object) override;
    HRESULT STDMETHODCALLTYPE GetParent(IShellItem **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDisplayName(SIGDN form, LPWSTR *name) override;
    HRESULT STDMETHODCALLTYPE GetAttributes(SFGAOF, SFGAOF *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Compare(IShellItem *, SICHINTF, int *) override { return E_NOTIMPL; }

private:
    WString path_;
};

class TransferSource final : public Counted<ITransferSource, IID_ITransferSource> {
public:
    ~TransferSource() override { Unadvise(onlyCookie); }

    HRESULT STDMETHODCALLTYPE Advise(ITransferAdviseSink *sink, DWORD *cookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
    HRESULT STDMETHODCALLTYPE RecycleItem(IShellItem *source, IShellItem *recycleBin, TRANSFER_SOURCE_FLAGS flags,
                                          IShellItem **newItem) override;

    HRESULT STDMETHODCALLTYPE SetProperties(IPropertyChangeArray *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OpenItem(IShellItem *, TRANSFER_SOURCE_FLAGS, REFIID, void **) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE MoveItem(IShellItem *, IShellItem *, LPCWSTR, TRANSFER_SOURCE_FLAGS,
                                       IShellItem **) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RemoveItem(IShellItem *, TRANSFER_SOURCE_FLAGS) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RenameItem(IShellItem *, LPCWSTR, TRANSFER_SOURCE_FLAGS, IShellItem **) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE LinkItem(IShellItem *, IShellItem *, LPCWSTR, TRANSFER_SOURCE_FLAGS,
                                       IShellItem **) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ApplyPropertiesToItem(IShellItem *, IShellItem **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDefaultDestinationName(IShellItem *, IShellItem *, LPWSTR *) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE EnterFolder(IShellItem *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LeaveFolder(IShellItem *) override { return E_NOTIMPL; }

private:
    static constexpr DWORD onlyCookie = 1;

    HRESULT recycle(ShellItem &source, TrashMove &move);

    ITransferAdviseSink *sink_ = nullptr;
};

HRESULT ShellItem::BindToHandler(IBindCtx *, REFGUID handler, REFIID riid, void **object) {
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    const DWORD attributes = isRecycleBin() ? INVALID_FILE_ATTRIBUTES : GetFileAttributesW(path_.c_str());
    const bool isFolder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!(handler == BHID_Transfer) || !isFolder)
        return E_NOINTERFACE;
    return give(new TransferSource, riid, object);
}

HRESULT ShellItem::GetDisplayName(SIGDN form, LPWSTR *name) {
    if (name == nullptr)
        return E_POINTER;
    *name = nullptr;
    if (form != SIGDN_FILESYSPATH || isRecycleBin())
        return E_INVALIDARG;
    const std::size_t bytes = (path_.size() + 1) * sizeof(WCHAR);
    *name = static_cast<LPWSTR>(std::malloc(bytes));
    if (*name == nullptr)
        return E_OUTOFMEMORY;
    std::memcpy(*name, path_.c_str(), bytes);
    return S_OK;
}

HRESULT TransferSource::Advise(ITransferAdviseSink *sink, DWORD *cookie) {
    if (sink == nullptr || cookie == nullptr)
        return E_POINTER;
    if (sink_ != nullptr)
        return E_FAIL;
    sink->AddRef();
    sink_ = sink;
    *cookie = onlyCookie;
    return S_OK;
}

HRESULT TransferSource::Unadvise(DWORD cookie) {
    if (sink_ == nullptr || cookie != onlyCookie)
        return E_INVALIDARG;
    std::exchange(sink_, nullptr)->Release();
    return S_OK;
}

/// Up to the rename a sink may end the transfer, and there is then nothing in the trash. After it, nothing is asked any
/// more: the file is where it was to go.
HRESULT TransferSource::recycle(ShellItem &source, TrashMove &move) {
    HRESULT result = sink_ == nullptr ? S_OK : sink_->UpdateTransferState(TS_PREPARING);
    if (FAILED(result))
        return result;
    DWORD code = prepareTrashMove(source.path(), move);
    if (code != ERROR_SUCCESS) {
        result = HRESULT_FROM_WIN32(code);
        const HRESULT answer = sink_ == nullptr ? result : sink_->FileFailure(&source, nullptr, result, nullptr, 0);
        return FAILED(answer) ? answer : result;
    }
    const ULONGLONG size = move.record.stx_size;
    if (sink_ != nullptr)
        result = sink_->UpdateTransferState(TS_PERFORMING);
    if (sink_ != nullptr && SUCCEEDED(result))
        result = sink_->UpdateProgress(0, size, 0, 1, 0, 0);
    if (FAILED(result))
        return result;
    code = carryOutTrashMove(move);
    if (code != ERROR_SUCCESS)
        return HRESULT_FROM_WIN32(code);
    if (sink_ != nullptr)
        sink_->UpdateProgress(size, size, 1, 1, 0, 0);
    return S_OK;
}

HRESULT TransferSource::RecycleItem(IShellItem *source, IShellItem *recycleBin, TRANSFER_SOURCE_FLAGS flags,
                                    IShellItem **newItem) {
    if (newItem == nullptr)
        return E_POINTER;
    *newItem = nullptr;
    auto *file = dynamic_cast<ShellItem *>(source);
    const auto *bin = dynamic_cast<ShellItem *>(recycleBin);
    if (file == nullptr || bin == nullptr || !bin->isRecycleBin() || flags != TSF_NORMAL)
        return E_INVALIDARG;
    TrashMove move;
    const HRESULT result = recycle(*file, move);
    if (SUCCEEDED(result))
        *newItem = new ShellItem(trashedPath(move));
    return result;
}

} // namespace

HRESULT WINAPI SHGetKnownFolderItem(REFKNOWNFOLDERID folder, KNOWN_FOLDER_FLAG, HANDLE, REFIID riid, void **item) {
    if (item == nullptr)
        return E_POINTER;
    *item = nullptr;
    if (!(folder == FOLDERID_RecycleBinFolder))
        return E_INVALIDARG;
    return give(new ShellItem(WString()), riid, item);
}

HRESULT WINAPI SHCreateItemFromParsingName(PCWSTR path, IBindCtx *, REFIID riid, void **item) {
    if (item == nullptr)
        return E_POINTER;
    *item = nullptr;
    WString normal;
    if (!parsePath(path, normal))
        return E_INVALIDARG;
    if (GetFileAttributesW(normal.c_str()) == INVALID_FILE_ATTRIBUTES)
        return HRESULT_FROM_WIN32(GetLastError());
    return give(new ShellItem(std::move(normal)), riid, item);
}

HRESULT WINAPI SHGetIDListFromObject(IUnknown *object, PIDLIST_ABSOLUTE *list) {
    if (list == nullptr)
        return E_POINTER;
    *list = nullptr;
    const auto *item = dynamic_cast<ShellItem *>(object);
    if (item == nullptr || !item->isRecycleBin())
        return E_INVALIDARG;
    // One element, which is what the list stands for, and the end, which has the length 0.
    constexpr USHORT length = sizeof(USHORT) + sizeof(KNOWNFOLDERID);
    auto *bytes = static_cast<unsigned char *>(std::calloc(1, length + sizeof(USHORT)));
    if (bytes == nullptr)
        return E_OUTOFMEMORY;
    std::memcpy(bytes, &length, sizeof length);
    std::memcpy(bytes + sizeof length, &FOLDERID_RecycleBinFolder, sizeof FOLDERID_RecycleBinFolder);
    *list = reinterpret_cast<PIDLIST_ABSOLUTE>(bytes);
    return S_OK;
}

void WINAPI SHChangeNotify(LONG, UINT, LPCVOID, LPCVOID) {}

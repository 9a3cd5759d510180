#include "platform/linux/volumes.h"
#include "platform/linux/window/application.h"
#include "platform/linux/window/panes.h"

#include <QFileDialog>

#include <atomic>

namespace dm::platform {
namespace {

/// Chooses a folder; it does nothing else.
class FolderDialog final : public IFileDialog {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override {
        if (object == nullptr)
            return E_POINTER;
        *object = riid == IID_IUnknown || riid == IID_IFileDialog ? static_cast<IFileDialog *>(this) : nullptr;
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
    virtual ~FolderDialog() = default;

    HRESULT STDMETHODCALLTYPE Show(HWND owner) override;
    HRESULT STDMETHODCALLTYPE GetResult(IShellItem **item) override;
    HRESULT STDMETHODCALLTYPE SetOptions(FILEOPENDIALOGOPTIONS options) override {
        options_ = options;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetOptions(FILEOPENDIALOGOPTIONS *options) override {
        if (options == nullptr)
            return E_POINTER;
        *options = options_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetTitle(LPCWSTR title) override {
        title_ = title == nullptr ? QString() : textOf(title);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE SetFileTypes(UINT, const COMDLG_FILTERSPEC *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetFileTypeIndex(UINT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFileTypeIndex(UINT *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(IFileDialogEvents *, DWORD *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetDefaultFolder(IShellItem *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetFolder(IShellItem *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFolder(IShellItem **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCurrentSelection(IShellItem **) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetFileName(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFileName(LPWSTR *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetOkButtonLabel(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetFileNameLabel(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE AddPlace(IShellItem *, FDAP) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetDefaultExtension(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Close(HRESULT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetClientGuid(REFGUID) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ClearClientData() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetFilter(IShellItemFilter *) override { return E_NOTIMPL; }

private:
    std::atomic<ULONG> references_ = 1;
    FILEOPENDIALOGOPTIONS options_ = FOS_PATHMUSTEXIST | FOS_NOCHANGEDIR;
    QString title_;
    WString result_;
};

HRESULT FolderDialog::Show(HWND owner) {
    if ((options_ & FOS_PICKFOLDERS) == 0)
        return E_NOTIMPL;
    application();
    const Pane *pane = owner == nullptr ? nullptr : paneOf(owner);
    const QPointer<QFileDialog> dialog = new QFileDialog(pane == nullptr ? nullptr : pane->widget->window(), title_);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setWindowModality(pane == nullptr ? Qt::ApplicationModal : Qt::WindowModal);
    const bool accepted = dialog->exec() == QDialog::Accepted;
    if (dialog == nullptr)
        return HRESULT_FROM_WIN32(ERROR_CANCELLED); // it went with its owner
    const QStringList chosen = dialog->selectedFiles();
    delete dialog;
    if (!accepted || chosen.isEmpty())
        return HRESULT_FROM_WIN32(ERROR_CANCELLED);
    result_ = drivePath(chosen.constFirst().toStdString());
    // What lies on no volume of the program cannot be named to it.
    return result_.empty() ? HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND) : S_OK;
}

HRESULT FolderDialog::GetResult(IShellItem **item) {
    if (item == nullptr)
        return E_POINTER;
    *item = nullptr;
    if (result_.empty())
        return E_UNEXPECTED;
    return SHCreateItemFromParsingName(result_.c_str(), nullptr, IID_IShellItem, reinterpret_cast<void **>(item));
}

} // namespace
} // namespace dm::platform

using namespace dm::platform;

HRESULT WINAPI CoCreateInstance(REFCLSID classId, IUnknown *outer, DWORD context, REFIID riid, LPVOID *object) {
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (!(classId == CLSID_FileOpenDialog) || outer != nullptr || (context & CLSCTX_INPROC_SERVER) == 0)
        return REGDB_E_CLASSNOTREG;
    auto *dialog = new FolderDialog;
    const HRESULT result = dialog->QueryInterface(riid, object);
    dialog->Release();
    return result;
}

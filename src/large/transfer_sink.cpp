#include "large/transfer_sink.h"

namespace dm::large {

HRESULT STDMETHODCALLTYPE TransferSink::QueryInterface(REFIID riid, void **object) {
    if (object == nullptr)
        return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_ITransferAdviseSink) {
        *object = static_cast<ITransferAdviseSink *>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE TransferSink::AddRef() {
    return ++references_;
}

ULONG STDMETHODCALLTYPE TransferSink::Release() {
    const ULONG left = --references_;
    if (left == 0)
        delete this;
    return left;
}

HRESULT STDMETHODCALLTYPE TransferSink::UpdateProgress(ULONGLONG, ULONGLONG, int, int, int, int) {
    return goOn();
}

HRESULT STDMETHODCALLTYPE TransferSink::UpdateTransferState(TRANSFER_ADVISE_STATE) {
    return goOn();
}

HRESULT STDMETHODCALLTYPE TransferSink::ConfirmOverwrite(IShellItem *, IShellItem *, LPCWSTR) {
    return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
}

HRESULT STDMETHODCALLTYPE TransferSink::ConfirmEncryptionLoss(IShellItem *) {
    return E_ACCESSDENIED;
}

HRESULT STDMETHODCALLTYPE TransferSink::FileFailure(IShellItem *, LPCWSTR, HRESULT error, LPWSTR, ULONG) {
    return failure(error);
}

HRESULT STDMETHODCALLTYPE TransferSink::SubStreamFailure(IShellItem *, LPCWSTR, HRESULT error) {
    return failure(error);
}

HRESULT STDMETHODCALLTYPE TransferSink::PropertyFailure(IShellItem *, const PROPERTYKEY *, HRESULT error) {
    return failure(error);
}

HRESULT TransferSink::goOn() const {
    return *cancelFlag_ ? COPYENGINE_E_USER_CANCELLED : S_OK;
}

HRESULT TransferSink::failure(HRESULT error) const {
    if (*cancelFlag_)
        return COPYENGINE_E_USER_CANCELLED;
    return FAILED(error) ? error : E_FAIL;
}

} // namespace dm::large

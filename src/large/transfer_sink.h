// How a cancel reaches a move that is already inside the shell.
#pragma once

#include "platform/win32.h"

#include <atomic>

namespace dm::large {

/// What the shell's copy engine asks while it moves a file: it is told to stop once the flag is set, never to overwrite
/// anything or to give up an encryption, and each failure stays one. Made with one reference; the last release deletes
/// it.
class TransferSink final : public ITransferAdviseSink {
public:
    /// The flag must live as long as the sink.
    explicit TransferSink(const std::atomic<bool> &cancelFlag) : cancelFlag_(&cancelFlag) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void **object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE UpdateProgress(ULONGLONG sizeCurrent, ULONGLONG sizeTotal, int filesCurrent,
                                             int filesTotal, int foldersCurrent, int foldersTotal) override;
    HRESULT STDMETHODCALLTYPE UpdateTransferState(TRANSFER_ADVISE_STATE state) override;
    HRESULT STDMETHODCALLTYPE ConfirmOverwrite(IShellItem *source, IShellItem *newParent, LPCWSTR name) override;
    HRESULT STDMETHODCALLTYPE ConfirmEncryptionLoss(IShellItem *source) override;
    HRESULT STDMETHODCALLTYPE FileFailure(IShellItem *item, LPCWSTR name, HRESULT error, LPWSTR newName,
                                          ULONG newNameUnits) override;
    HRESULT STDMETHODCALLTYPE SubStreamFailure(IShellItem *item, LPCWSTR streamName, HRESULT error) override;
    HRESULT STDMETHODCALLTYPE PropertyFailure(IShellItem *item, const PROPERTYKEY *key, HRESULT error) override;

private:
    HRESULT goOn() const;
    HRESULT failure(HRESULT error) const;

    std::atomic<ULONG> references_ = 1;
    const std::atomic<bool> *cancelFlag_;
};

} // namespace dm::large

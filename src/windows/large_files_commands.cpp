// What the user asks the large-files window for: the input of a search and of a move, a folder, a location.
#include "core/com.h"
#include "core/operations.h"
#include "i18n/format.h"
#include "i18n/language.h"
#include "platform/places.h"
#include "ui/controls.h"
#include "windows/dialogs.h"
#include "windows/large_files_data.h"
#include "windows/large_files_window.h"
#include "windows/path_text.h"

namespace dm {
namespace {

constexpr std::uint64_t longestList = 100'000;

void warn(const WChar *text) {
    showNotice(text, MB_ICONWARNING);
}

WString moveQuestion(const large::LargeSearchResult &search, const std::vector<std::uint64_t> &chosen) {
    return tr(W("Переместить выбранные файлы в корзину?")) + W("\n\n") + tr(W("Выбрано файлов:")) + W(" ") +
           formatCount(chosen.size()) + W(" · ") + formatSize(sizeOfEntries(search, chosen)) + W("\n\n") +
           tr(W("Файлы можно восстановить из системной корзины. Безвозвратное удаление не используется."));
}

/// The folder that the user chose in the dialog; empty for none.
WString pickedFolder(HWND window, IFileDialog &dialog) {
    FILEOPENDIALOGOPTIONS options = 0;
    dialog.GetOptions(&options);
    dialog.SetOptions(options | FOS_PICKFOLDERS | FOS_FORCEFILESYSTEM | FOS_PATHMUSTEXIST | FOS_NOCHANGEDIR);
    dialog.SetTitle(tr(W("Выберите папку или диск")).c_str());
    const ModalScope modal;
    ComOwner<IShellItem> item;
    TaskMemoryOwner<LPWSTR> path;
    if (FAILED(dialog.Show(window)) || FAILED(dialog.GetResult(item.out())) ||
        FAILED(item->GetDisplayName(SIGDN_FILESYSPATH, path.out())))
        return {};
    return path.get();
}

bool opensSelected(const WString &path) {
    TaskMemoryOwner<PIDLIST_ABSOLUTE> list;
    return SUCCEEDED(SHParseDisplayName(path.c_str(), nullptr, list.out(), 0, nullptr)) &&
           SUCCEEDED(SHOpenFolderAndSelectItems(list.get(), 0, nullptr, 0));
}

bool opensFolder(HWND window, const WString &path) {
    const WString folder = path.substr(0, path.rfind(W('\\')) + 1);
    const HINSTANCE result = ShellExecuteW(window, W("open"), folder.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<INT_PTR>(result) > 32; // what is above is no error code
}

} // namespace

std::optional<large::LargeSearchOptions> largeSearchInput(HWND window) {
    if (largeDataOf(window) == nullptr)
        return std::nullopt;
    const WString folder = ui::windowText(largeControl(window, large_id::folder));
    const std::optional<std::uint64_t> megabytes =
        parseMinimumSize(ui::windowText(largeControl(window, large_id::minimumSize)));
    if (!megabytes) {
        warn(W("Введите минимальный размер от 1 до 1048576 МБ."));
        return std::nullopt;
    }
    if (folder.empty()) {
        warn(W("Для поиска выберите папку или локальный диск."));
        return std::nullopt;
    }
    return large::LargeSearchOptions{typedPath(folder), *megabytes << 20, longestList};
}

std::optional<RecycleInput> recycleInput(HWND window) {
    const LargeFilesData *data = largeDataOf(window);
    if (data == nullptr)
        return std::nullopt;
    std::vector<std::uint64_t> chosen = selectedEntries(window, *data);
    if (chosen.empty() || showMessage(moveQuestion(data->search, chosen), W("Большие файлы"),
                                      MB_YESNO | MB_ICONWARNING | MB_DEFBUTTON2) != IDYES)
        return std::nullopt;
    // The question lets the message loop run.
    data = largeDataOf(window);
    if (data == nullptr || !mayStartOperation())
        return std::nullopt;
    return RecycleInput{data->search, std::move(chosen)};
}

void chooseLargeFolder(HWND window) {
    ComOwner<IFileDialog> dialog;
    if (FAILED(
            CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER, IID_IFileDialog, dialog.outVoid()))) {
        warn(W("Для поиска выберите папку или локальный диск."));
        return;
    }
    const WString folder = pickedFolder(window, *dialog.get());
    if (!folder.empty() && IsWindow(window))
        SetWindowTextW(largeControl(window, large_id::folder), pathForField(folder).c_str());
}

void openSelectedLocation(HWND window, const LargeFilesData &data) {
    const std::vector<std::uint64_t> selected = selectedEntries(window, data);
    if (selected.empty())
        return;
    const WString path = data.search.entries[selected.front()].path;
    if (!opensSelected(path) && !opensFolder(window, path))
        warn(W("Не удалось открыть выбранную папку."));
}

} // namespace dm

#include "data/history_view.h"

#include "core/handles.h"
#include "data/encoding.h"
#include "data/history_legacy.h"
#include "i18n/format.h"
#include "i18n/language.h"
#include "platform/win32.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace dm {

namespace {

constexpr LONGLONG tailBytes = 0x200000;

WString counters(const HistoryEvent &event, WStringView separator) {
    WString text = tr(W("Пропущено:"));
    text += W(' ');
    text += formatCount(event.skipped);
    text += separator;
    text += tr(W("Ошибок:"));
    text += W(' ');
    text += formatCount(event.errors);
    return text;
}

WString renderScan(const HistoryEvent &event) {
    WString text = tr(W("Анализ:")) + W(' ') + formatCount(event.files) + W(' ') + tr(W("файлов")) + W(", ") +
                   formatSize(event.bytes) + W(". ");
    text += event.cancelled ? tr(W("Анализ отменён. Показано место, найденное до отмены.")) : tr(W("Анализ завершён"));
    if (event.countersKnown)
        text += W(" · ") + counters(event, W(" · "));
    return text;
}

WString renderCleanup(const HistoryEvent &event) {
    WString text = tr(event.cancelled ? W("Очистка отменена.") : W("Очистка завершена."));
    text += W('\n') + tr(W("Удалено:")) + W(' ') + formatCount(event.files) + W(' ') + tr(W("файлов")) + W("; ") +
            formatSize(event.bytes) + W(".\n") + counters(event, W(". ")) + W('.');
    if (event.recycleEmptied)
        text += W('\n') + tr(W("Корзина очищена."));
    text += W("\n\n") + tr(W("Повторите анализ для обновления списка."));
    return text;
}

WString renderMessage(const HistoryEvent &event) {
    return event.literalText ? event.text : tr(event.text);
}

WString renderLargeSearch(const HistoryEvent &event) {
    if (!event.text.empty())
        return renderMessage(event);
    WString text = tr(event.cancelled ? W("Поиск отменён") : W("Поиск завершён"));
    text +=
        W(" · ") + tr(W("Найдено файлов:")) + W(' ') + formatCount(event.files) + W(" · ") + counters(event, W(" · "));
    if (event.truncated)
        text += W('\n') + tr(W("Список ограничен. Увеличьте минимальный размер и повторите поиск."));
    return text;
}

WString renderRecycle(const HistoryEvent &event) {
    WString text;
    if (event.cancelled)
        text += tr(W("Перемещение отменено.")) + W('\n');
    text += tr(W("В корзину перемещено:")) + W(' ') + formatCount(event.files) + W(" · ") + formatSize(event.bytes) +
            W('\n') + counters(event, W(" · ")) + W('\n');
    text += event.errors != 0 ? tr(W("Файлы с ошибками не включены в результат. Проверьте системную корзину."))
                              : tr(W("Недоступные и изменённые файлы оставлены на месте."));
    return text;
}

WString renderWithoutDetail(const HistoryEvent &event) {
    switch (event.kind) {
    case HistoryKind::Scan:
        return renderScan(event);
    case HistoryKind::Cleanup:
        return renderCleanup(event);
    case HistoryKind::LargeSearch:
        return renderLargeSearch(event);
    case HistoryKind::Recycle:
        return renderRecycle(event);
    case HistoryKind::Message:
        break;
    }
    return renderMessage(event);
}

/// A sound record or a sentence of an earlier version, in the current language.
std::optional<WString> recognized(std::string_view entry) {
    HistoryEvent event;
    std::int64_t time = 0;
    if (parseHistoryRecord(entry, event, time))
        return formatDateTime(time) + W("  ") + renderHistoryEvent(event);
    const WString text = decodeUtf8Lossy(entry);
    std::size_t position = 0;
    if (parseLegacyTimestamp(text, position) && parseLegacyEvent(WStringView(text).substr(position), event))
        return text.substr(0, position) + renderHistoryEvent(event);
    return std::nullopt;
}

/// An entry is one record, or a line with the lines that belong to it.
void appendEntry(std::string_view entry, WString &output) {
    const std::size_t size = entry.find_last_not_of("\r\n") + 1; // 0 where there is nothing else
    if (const std::optional<WString> text = recognized(entry.substr(0, size)))
        output += normalizeLineBreaks(*text) + decodeUtf8Lossy(entry.substr(size));
    else
        output += normalizeLineBreaks(decodeUtf8Lossy(entry));
}

bool isRecord(std::string_view line) {
    return line.starts_with(historyMarker);
}

bool isStamped(std::string_view line) {
    // A stamp is ASCII, so that this many bytes decide.
    std::size_t position = 0;
    return parseLegacyTimestamp(decodeUtf8Lossy(line.substr(0, legacyStampUnits)), position);
}

/// What was read of the end of the file.
struct Tail {
    std::string bytes;
    bool truncated = false;
};

/// Fewer bytes than were asked for if the file has become shorter.
bool read(HANDLE file, std::string &bytes) {
    std::size_t filled = 0;
    for (DWORD count = 1; filled < bytes.size() && count != 0; filled += count)
        if (!ReadFile(file, bytes.data() + filled, static_cast<DWORD>(bytes.size() - filled), &count, nullptr))
            return false;
    bytes.resize(filled);
    return true;
}

/// The reading begins inside a line, which goes; if there is no other, what is left of a character goes.
void dropFirstPiece(std::string &bytes) {
    const auto isContinuation = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
    auto end = std::find(bytes.begin(), bytes.end(), '\n');
    end = end != bytes.end() ? end + 1 : std::find_if_not(bytes.begin(), bytes.end(), isContinuation);
    bytes.erase(bytes.begin(), end);
}

std::optional<Tail> readTail(HANDLE file) {
    LARGE_INTEGER size;
    if (!GetFileSizeEx(file, &size) || size.QuadPart < 0)
        return std::nullopt;
    Tail tail;
    tail.truncated = size.QuadPart > tailBytes;
    LARGE_INTEGER start;
    start.QuadPart = size.QuadPart - tailBytes;
    if (tail.truncated && !SetFilePointerEx(file, start, nullptr, FILE_BEGIN))
        return std::nullopt;
    tail.bytes.resize(static_cast<std::size_t>(std::min(size.QuadPart, tailBytes)));
    if (!read(file, tail.bytes))
        return std::nullopt;
    if (tail.truncated)
        dropFirstPiece(tail.bytes);
    return tail;
}

/// Empty for a file that does not exist; nothing for any failure.
std::optional<Tail> openAndReadTail() {
    try {
        const OwnedHandle file(CreateFileW(historyPath().c_str(), GENERIC_READ,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (file)
            return readTail(file.get());
        const DWORD error = GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? std::optional(Tail()) : std::nullopt;
    } catch (const std::runtime_error &) {
        return std::nullopt;
    }
}

} // namespace

WString renderHistoryEvent(const HistoryEvent &event) {
    return renderWithoutDetail(event) + event.detail;
}

WString renderHistoryLog(std::string_view bytes) {
    WString output;
    output.reserve(bytes.size());
    std::size_t pending = 0;
    const auto flushUpTo = [&](std::size_t end) {
        if (end > pending)
            appendEntry(bytes.substr(pending, end - pending), output);
        pending = end;
    };
    for (std::size_t start = 0, end = 0; start < bytes.size(); start = end) {
        end = std::min(bytes.find('\n', start), bytes.size() - 1) + 1;
        const std::string_view line = bytes.substr(start, end - start);
        // A record is always an entry of its own; a stamped line collects what follows it.
        if (isRecord(line) || isStamped(line))
            flushUpTo(start);
        if (isRecord(line))
            flushUpTo(end);
    }
    flushUpTo(bytes.size());
    return output;
}

void loadHistoryTail(WString &text, bool &truncated) {
    const std::optional<Tail> tail = openAndReadTail();
    truncated = tail && tail->truncated;
    if (!tail)
        text = tr(W("Файл истории недоступен"));
    else if (tail->bytes.empty())
        text = tr(W("История пока пуста"));
    else
        text = renderHistoryLog(tail->bytes);
}

} // namespace dm

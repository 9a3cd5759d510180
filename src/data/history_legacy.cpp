#include "data/history_legacy.h"

#include "i18n/language.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

namespace dm {

namespace {

constexpr std::size_t maximumUnits = 16384; // of a sentence
constexpr std::size_t maximumTagUnits = 68; // of a tag with its brackets and the blank before it
constexpr int maximumDigits = 20;           // of a 64-bit number
constexpr int maximumFractionDigits = 9;
constexpr WStringView stampShape = W("0000-00-00 00:00:00");

// The piece of a sentence as it may stand in the file.
struct Phrase {
    WStringView source;
    WStringView english;
};

/// The two spellings of a catalogue row.
Phrase phraseOf(WStringView source) {
    const CatalogueKey *row = findCatalogueRow(source);
    return row == nullptr ? Phrase{source, source} : Phrase{row->source, row->english};
}

WStringView lastPiece(WStringView text) {
    const WStringView piece = text.substr(text.find(W('·')) + 1);
    return piece.substr(1, piece.size() - 2);
}

/// What stands behind the separator of a row and before its last blank.
Phrase lastPieceOf(WStringView source) {
    const Phrase whole = phraseOf(source);
    return {lastPiece(whole.source), lastPiece(whole.english)};
}

Phrase withoutStop(const Phrase &sentence) {
    return {sentence.source.substr(0, sentence.source.size() - 1),
            sentence.english.substr(0, sentence.english.size() - 1)};
}

struct Phrases {
    Phrase scan = phraseOf(W("Анализ:"));
    Phrase files = phraseOf(W("файлов"));
    Phrase scanCancelled = phraseOf(W("Анализ отменён. Показано место, найденное до отмены."));
    Phrase scanComplete = phraseOf(W("Анализ завершён"));
    Phrase cleanupCancelled = phraseOf(W("Очистка отменена."));
    Phrase cleanupComplete = phraseOf(W("Очистка завершена."));
    Phrase deleted = phraseOf(W("Удалено:"));
    Phrase recycleEmptied = phraseOf(W("Корзина очищена."));
    Phrase scanAgain = phraseOf(W("Повторите анализ для обновления списка."));
    Phrase searchCancelled = phraseOf(W("Поиск отменён"));
    Phrase searchComplete = phraseOf(W("Поиск завершён"));
    Phrase found = phraseOf(W("Найдено файлов:"));
    Phrase listLimited = phraseOf(W("Список ограничен. Увеличьте минимальный размер и повторите поиск."));
    Phrase moveCancelled = phraseOf(W("Перемещение отменено."));
    Phrase moved = phraseOf(W("В корзину перемещено:"));
    Phrase movedWithErrors = phraseOf(W("Файлы с ошибками не включены в результат. Проверьте системную корзину."));
    Phrase keptUnavailable = phraseOf(W("Недоступные и изменённые файлы оставлены на месте."));
    Phrase skipped = phraseOf(W("Пропущено:"));
    Phrase inUse = lastPieceOf(W("Анализ завершён · занятых или недоступных файлов: "));
    Phrase errors = phraseOf(W("Ошибок:"));
    Phrase errorsInLowerCase = lastPieceOf(W(" · ошибок: "));
    Phrase selfTestPassed = withoutStop(phraseOf(W("Самопроверка пройдена.")));
    Phrase selfTestFailed = withoutStop(phraseOf(W("Самопроверка не пройдена.")));
    Phrase units[4] = {phraseOf(W("Б")), phraseOf(W("КБ")), phraseOf(W("МБ")), phraseOf(W("ГБ"))}; // each 1,024 times
};

const Phrases &phrases() {
    static const Phrases all;
    return all;
}

bool isBlank(WChar unit) {
    return unit == W(' ') || unit == W('\t');
}

bool isDigit(WChar unit) {
    return unit >= W('0') && unit <= W('9');
}

void skipBlanks(WStringView &rest) {
    while (!rest.empty() && isBlank(rest.front()))
        rest.remove_prefix(1);
}

WStringView withoutTrailingBlanks(WStringView text) {
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

bool atEnd(WStringView rest) {
    return withoutTrailingBlanks(rest).empty();
}

bool take(WStringView &rest, WStringView literal) {
    if (!rest.starts_with(literal))
        return false;
    rest.remove_prefix(literal.size());
    return true;
}

bool take(WStringView &rest, const Phrase &phrase) {
    return take(rest, phrase.source) || take(rest, phrase.english);
}

bool takeLineFeed(WStringView &rest) {
    return take(rest, W("\n"));
}

bool takeStop(WStringView &rest) {
    if (!take(rest, W(".")))
        return false;
    skipBlanks(rest);
    return true;
}

/// A phrase that ends in a full stop.
bool takeSentence(WStringView &rest, const Phrase &sentence) {
    if (!take(rest, sentence))
        return false;
    skipBlanks(rest);
    return true;
}

bool takeSeparator(WStringView &rest) {
    skipBlanks(rest);
    if (!take(rest, W("·")) && !take(rest, W(".")))
        return false;
    skipBlanks(rest);
    return true;
}

/// Digits up to the first other unit, as many as are allowed and none more; nothing if they do not fit in 64 bits.
std::optional<std::uint64_t> takeDigits(WStringView &rest, int most) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t value = 0;
    int count = 0;
    for (; !rest.empty() && isDigit(rest.front()); rest.remove_prefix(1)) {
        const auto digit = static_cast<std::uint64_t>(rest.front() - W('0'));
        if (++count > most || value > (largest - digit) / 10)
            return std::nullopt;
        value = value * 10 + digit;
    }
    return count == 0 ? std::nullopt : std::optional(value);
}

bool takeCount(WStringView &rest, std::uint64_t &count) {
    skipBlanks(rest);
    const std::optional<std::uint64_t> value = takeDigits(rest, maximumDigits);
    skipBlanks(rest);
    count = value.value_or(0);
    return value.has_value();
}

/// In billionths; zero where there is none.
std::optional<std::uint64_t> takeFraction(WStringView &rest) {
    if (!take(rest, W(".")) && !take(rest, W(",")))
        return 0;
    const std::size_t before = rest.size();
    std::optional<std::uint64_t> fraction = takeDigits(rest, maximumFractionDigits);
    for (std::size_t digits = before - rest.size(); fraction && digits < maximumFractionDigits; ++digits)
        *fraction *= 10;
    return fraction;
}

/// The number of times that a unit multiplies by two; nothing where no unit stands.
std::optional<unsigned> takeUnit(WStringView &rest) {
    unsigned shift = 0;
    for (const Phrase &unit : phrases().units) {
        if (take(rest, unit))
            return shift;
        shift += 10;
    }
    return std::nullopt;
}

bool takeSize(WStringView &rest, std::uint64_t &bytes) {
    constexpr std::uint64_t billion = 1'000'000'000;
    skipBlanks(rest);
    const std::optional<std::uint64_t> whole = takeDigits(rest, maximumDigits);
    const std::optional<std::uint64_t> fraction = whole ? takeFraction(rest) : std::nullopt;
    skipBlanks(rest);
    const std::optional<unsigned> shift = fraction ? takeUnit(rest) : std::nullopt;
    skipBlanks(rest);
    if (!shift || *whole > std::numeric_limits<std::uint64_t>::max() >> *shift)
        return false;
    // In integers, since a floating-point number does not hold every count of bytes.
    const std::uint64_t roundedFraction = ((*fraction << *shift) + billion / 2) / billion;
    bytes = (*whole << *shift) + roundedFraction;
    return bytes >= roundedFraction;
}

/// The counters behind a word for what was skipped.
bool takeCounters(WStringView &rest, HistoryEvent &event) {
    const Phrases &words = phrases();
    if (!takeCount(rest, event.skipped) || !takeSeparator(rest) ||
        !(take(rest, words.errors) || take(rest, words.errorsInLowerCase)) || !takeCount(rest, event.errors))
        return false;
    takeStop(rest);
    return true;
}

bool recognizeScan(WStringView rest, HistoryEvent &event) {
    const Phrases &words = phrases();
    event.kind = HistoryKind::Scan;
    if (!take(rest, words.scan) || !takeCount(rest, event.files) || !take(rest, words.files) || !take(rest, W(",")) ||
        !takeSize(rest, event.bytes) || !takeStop(rest))
        return false;
    if (take(rest, words.scanCancelled)) {
        event.cancelled = true;
        event.countersKnown = false;
        return atEnd(rest);
    }
    return take(rest, words.scanComplete) && takeSeparator(rest) &&
           (take(rest, words.skipped) || take(rest, words.inUse)) && takeCounters(rest, event) && atEnd(rest);
}

bool recognizeCleanup(WStringView rest, HistoryEvent &event) {
    const Phrases &words = phrases();
    event.kind = HistoryKind::Cleanup;
    event.cancelled = takeSentence(rest, words.cleanupCancelled);
    if (!event.cancelled && !takeSentence(rest, words.cleanupComplete))
        return false;
    if (!takeLineFeed(rest) || !take(rest, words.deleted) || !takeCount(rest, event.files) ||
        !take(rest, words.files) || !take(rest, W(";")) || !takeSize(rest, event.bytes) || !takeStop(rest) ||
        !takeLineFeed(rest) || !take(rest, words.skipped) || !takeCounters(rest, event) || !takeLineFeed(rest))
        return false;
    // Either the optional sentence or already the empty line follows.
    event.recycleEmptied = takeSentence(rest, words.recycleEmptied);
    if (event.recycleEmptied && !takeLineFeed(rest))
        return false;
    return takeLineFeed(rest) && take(rest, words.scanAgain) && atEnd(rest);
}

bool recognizeLargeSearch(WStringView rest, HistoryEvent &event) {
    const Phrases &words = phrases();
    event.kind = HistoryKind::LargeSearch;
    event.cancelled = take(rest, words.searchCancelled);
    if (!event.cancelled && !take(rest, words.searchComplete))
        return false;
    if (!takeSeparator(rest) || !take(rest, words.found) || !takeCount(rest, event.files) || !takeSeparator(rest) ||
        !take(rest, words.skipped) || !takeCounters(rest, event))
        return false;
    event.truncated = takeLineFeed(rest);
    return (!event.truncated || take(rest, words.listLimited)) && atEnd(rest);
}

bool recognizeRecycle(WStringView rest, HistoryEvent &event) {
    const Phrases &words = phrases();
    event.kind = HistoryKind::Recycle;
    event.cancelled = takeSentence(rest, words.moveCancelled);
    if (event.cancelled && !takeLineFeed(rest))
        return false;
    return take(rest, words.moved) && takeCount(rest, event.files) && takeSeparator(rest) &&
           takeSize(rest, event.bytes) && takeLineFeed(rest) && take(rest, words.skipped) &&
           takeCounters(rest, event) && takeLineFeed(rest) &&
           (take(rest, words.movedWithErrors) || take(rest, words.keptUnavailable)) && atEnd(rest);
}

/// The source of a message of the catalogue: one sentence or more on one line. Empty if the text is none.
WStringView messageSource(WStringView text) {
    const CatalogueKey *row = findCatalogueRow(text);
    if (row == nullptr)
        return {};
    const WStringView source = row->source;
    return source.ends_with(W('.')) && source.find_first_of(W("\r\n")) == WStringView::npos ? source : WStringView();
}

bool isTagUnit(WChar unit) {
    return isDigit(unit) || (unit >= W('A') && unit <= W('Z')) || (unit >= W('a') && unit <= W('z')) ||
           unit == W('-') || unit == W('_');
}

/// Where " [" and a tag in brackets begin at the end of the text, or npos.
std::size_t findTag(WStringView text) {
    const std::size_t start = text.rfind(W(" ["));
    if (start == WStringView::npos || !text.ends_with(W(']')) || text.size() - start > maximumTagUnits)
        return WStringView::npos;
    const WStringView tag = text.substr(start + 2, text.size() - start - 3);
    return !tag.empty() && std::all_of(tag.begin(), tag.end(), isTagUnit) ? start : WStringView::npos;
}

bool recognizeSelfTest(WStringView rest, HistoryEvent &event) {
    const Phrases &words = phrases();
    if (rest == words.selfTestPassed.source || rest == words.selfTestPassed.english) {
        event.text = W("Самопроверка пройдена.");
        return true;
    }
    if (!take(rest, words.selfTestFailed) || !take(rest, W(": ")) || rest.empty())
        return false;
    event.text = W("Самопроверка не пройдена.");
    event.detail = W(" ") + WString(rest);
    return true;
}

bool recognizeMessage(WStringView text, HistoryEvent &event) {
    event.kind = HistoryKind::Message;
    text = withoutTrailingBlanks(text);
    if (recognizeSelfTest(text, event))
        return true;
    if (const WStringView source = messageSource(text); !source.empty()) {
        event.text = source;
        return true;
    }
    const std::size_t tag = findTag(text);
    if (tag == WStringView::npos)
        return false;
    event.text = messageSource(text.substr(0, tag));
    event.detail = text.substr(tag);
    return !event.text.empty();
}

/// The number that a run of digits stands for.
int numberAt(WStringView text, std::size_t index, std::size_t digits) {
    int number = 0;
    for (const WChar digit : text.substr(index, digits))
        number = number * 10 + (digit - W('0'));
    return number;
}

bool hasShapeOfStamp(WStringView text) {
    const auto fits = [](WChar expected, WChar unit) { return expected == W('0') ? isDigit(unit) : unit == expected; };
    return text.size() >= legacyStampUnits && std::equal(stampShape.begin(), stampShape.end(), text.begin(), fits) &&
           isBlank(text[stampShape.size()]);
}

bool isRealTime(WStringView stamp) {
    const int year = numberAt(stamp, 0, 4);
    const std::chrono::year_month_day date(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(numberAt(stamp, 5, 2))),
                                           std::chrono::day(static_cast<unsigned>(numberAt(stamp, 8, 2))));
    return year >= 1 && date.ok() && numberAt(stamp, 11, 2) <= 23 && numberAt(stamp, 14, 2) <= 59 &&
           numberAt(stamp, 17, 2) <= 59;
}

WString withoutCarriageReturns(WStringView text) {
    WString result;
    result.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index)
        if (text[index] != W('\r') || index + 1 == text.size() || text[index + 1] != W('\n'))
            result += text[index];
    return result;
}

} // namespace

bool parseLegacyTimestamp(WStringView text, std::size_t &position) {
    if (!hasShapeOfStamp(text) || !isRealTime(text))
        return false;
    WStringView rest = text.substr(stampShape.size());
    skipBlanks(rest);
    position = text.size() - rest.size();
    return true;
}

bool parseLegacyEvent(WStringView text, HistoryEvent &event) {
    if (text.empty() || text.size() > maximumUnits)
        return false;
    const WString sentence = withoutCarriageReturns(text);
    for (const auto recognize :
         {recognizeScan, recognizeCleanup, recognizeLargeSearch, recognizeRecycle, recognizeMessage}) {
        HistoryEvent candidate;
        if (recognize(sentence, candidate)) {
            event = std::move(candidate);
            return true;
        }
    }
    return false;
}

} // namespace dm

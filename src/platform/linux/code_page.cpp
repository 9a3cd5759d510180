#include "platform/linux/errors.h"
#include "platform/linux/utf8.h"
#include "platform/win32.h"

#include <climits>

using namespace dm::platform;

namespace {

/// Both conversions give their output in pieces of a few units or bytes, to be counted and, where there is room given,
/// written.
template <typename Unit>
struct Output {
    Unit *text;
    int room;
    std::size_t size = 0;

    void append(const Unit *piece, std::size_t length) {
        for (std::size_t index = 0; index < length && size + index < static_cast<std::size_t>(room); ++index)
            text[size + index] = piece[index];
        size += length;
    }
    int result() const {
        if (size > INT_MAX)
            return fail(ERROR_INVALID_PARAMETER);
        return room != 0 && static_cast<std::size_t>(room) < size ? fail(ERROR_INSUFFICIENT_BUFFER)
                                                                  : static_cast<int>(size);
    }
};

bool isKnown(UINT codePage, const void *input, int inputSize, const void *output, int room) {
    return codePage == CP_UTF8 && input != nullptr && inputSize > 0 && room >= 0 && (room == 0 || output != nullptr);
}

} // namespace

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR bytes, int byteCount, LPWSTR text, int units) {
    if (!isKnown(codePage, bytes, byteCount, text, units) || flags != MB_ERR_INVALID_CHARS)
        return fail(ERROR_INVALID_PARAMETER);
    const std::string_view input(bytes, static_cast<std::size_t>(byteCount));
    Output<WCHAR> output = {text, units};
    for (std::size_t at = 0; at < input.size();) {
        char32_t value = 0;
        const std::size_t length = decodeUtf8(input, at, value);
        if (length == 0)
            return fail(ERROR_NO_UNICODE_TRANSLATION);
        const bool pair = value > 0xFFFF;
        const WCHAR piece[2] = {pair ? highSurrogateOf(value) : static_cast<WCHAR>(value), lowSurrogateOf(value)};
        output.append(piece, pair ? 2 : 1);
        at += length;
    }
    return output.result();
}

int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int units, LPSTR bytes, int byteCount,
                               LPCSTR defaultChar, LPBOOL usedDefaultChar) {
    if (!isKnown(codePage, text, units, bytes, byteCount) || flags != 0 || defaultChar != nullptr ||
        usedDefaultChar != nullptr)
        return fail(ERROR_INVALID_PARAMETER);
    Output<char> output = {bytes, byteCount};
    std::string piece;
    for (int index = 0; index < units; ++index) {
        char32_t value = text[index];
        if (isHighSurrogate(text[index]) && index + 1 < units && isLowSurrogate(text[index + 1])) {
            value = joinSurrogates(text[index], text[index + 1]);
            ++index;
        } else if (isHighSurrogate(text[index]) || isLowSurrogate(text[index])) {
            value = 0xFFFD;
        }
        piece.clear();
        appendUtf8(value, piece);
        output.append(piece.data(), piece.size());
    }
    return output.result();
}

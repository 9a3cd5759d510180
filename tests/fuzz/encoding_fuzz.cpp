// Any bytes and any units through both decoders: the strict one refuses or gives back the very same bytes, the lossy
// one gives what survives every further conversion, and they agree on all that is valid.
#include "data/encoding.h"
#include "require.h"

#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

using namespace dm;

namespace {

std::optional<WString> decodedStrictly(std::string_view bytes) {
    try {
        return utf8ToWide(bytes);
    } catch (const std::runtime_error &error) {
        require(error.what() == std::string_view("invalid UTF-8"), "a refusal carries its message");
        return std::nullopt;
    }
}

bool isReplaced(WChar unit) {
    return (unit < 0x20 && unit != W('\t') && unit != W('\n') && unit != W('\r')) || unit == 0x7F;
}

void requireTextToBeStorable(const WString &text) {
    const std::string stored = encodeUtf8Lossy(text);
    require(decodedStrictly(stored) == decodeUtf8Lossy(stored), "stored text is valid, without controls");
    require(encodeUtf8Lossy(decodeUtf8Lossy(stored)) == stored, "stored text is canonical");
    require(wideToUtf8(utf8ToWide(wideToUtf8(text))) == wideToUtf8(text), "the platform's bytes are valid");
    const WString lines = normalizeLineBreaks(text);
    require(normalizeLineBreaks(lines) == lines, "line breaks are normal once they are normalised");
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name that libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    const WString lossy = decodeUtf8Lossy(bytes);
    if (std::optional<WString> strict = decodedStrictly(bytes)) {
        require(wideToUtf8(*strict) == bytes, "valid bytes come back");
        for (WChar &unit : *strict)
            if (isReplaced(unit))
                unit = 0xFFFD;
        require(*strict == lossy, "the decoders differ in controls only");
    } else {
        require(lossy.find(0xFFFD) != WString::npos, "what is refused is seen to be damaged");
    }
    requireTextToBeStorable(lossy);
    WString units(size / sizeof(WChar), WChar{});
    std::memcpy(units.data(), data, units.size() * sizeof(WChar));
    requireTextToBeStorable(units);
    return 0;
}

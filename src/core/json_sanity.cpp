#include "core/json_sanity.h"

#include "data/json.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace dm {

namespace {

bool readsSoundDocument() {
    const JsonValue document = parseJson(R"({"ok":true,"n":123,"s":"\u0414\ud83d\ude00","a":[null,false]})");
    const JsonValue &ok = jsonField(document, "ok");
    return ok.kind == JsonKind::Boolean && ok.boolean && jsonInteger(jsonField(document, "n")) == 123 &&
           !jsonString(jsonField(document, "s")).empty();
}

bool refuses(const char *document) {
    try {
        parseJson(document);
        return false;
    } catch (const std::runtime_error &) {
        return true;
    }
}

} // namespace

bool checkJsonSanity() noexcept {
    const char *const unsoundDocuments[] = {
        R"({"x":1,"x":2})",  // a duplicate member
        R"({"x":01})",       // a number with a leading zero
        R"({"x":"\ud800"})", // an unpaired surrogate
        R"([1,])",           // a trailing comma
        R"({} trailing)",    // data after the value
    };
    try {
        return readsSoundDocument() && std::all_of(std::begin(unsoundDocuments), std::end(unsoundDocuments), refuses);
    } catch (...) {
        return false;
    }
}

} // namespace dm

// Every text that a user sees, and the language that it is shown in.
#pragma once

#include "platform/text.h"

#include <string>
#include <string_view>
#include <vector>

namespace dm {

/// What identifies a text of the catalogue whatever the language.
struct CatalogueKey {
    WStringView source;   ///< Russian
    WStringView english;  ///< as the English column has it
    std::string_view key; ///< "m:" and the FNV-1a of the source's UTF-8 in 16 hexadecimal digits
};

/// A row of the language chooser.
struct LanguageChoice {
    std::string_view code; ///< "system" or a code of the language table
    WStringView name;      ///< the language's own name; "System" is for the caller to replace
};

/// The text of a source text (Russian) in the current language. A text that is no source text comes back as it is.
WString tr(WStringView text);

/// The row whose source, or else whose English text, is exactly this; null if there is none.
const CatalogueKey *findCatalogueRow(WStringView text);
/// The row with this key; null if there is none.
const CatalogueKey *findCatalogueKey(std::string_view key);

/// 0 to 19, or -1 for what is no code of the language table ("system" is none). Case counts.
int languageIndex(std::string_view code);
/// True for "system" and for a code of the language table.
bool isValidLanguage(std::string_view code);

std::string_view currentLanguageCode();
/// The locale name of the current language, as "pt-BR".
const WChar *currentLocaleName();
/// True while the current language is written from right to left, which Arabic alone is.
bool isRightToLeft();

/// Makes a language the current one, which before the first call is English. "system" and unknown codes ask the system.
void setLanguage(std::string_view code);
/// The first language that the user prefers and the table has; "en" if there is none.
std::string detectSystemLanguage();
/// The code for a locale name such as "pt-BR" or "EN_us"; empty if the table has no such language.
std::string normalizeLanguageTag(std::string_view tag);

/// The rows of the language chooser in their order, "system" first.
const std::vector<LanguageChoice> &languageList();

} // namespace dm

// The constant tables that generate_catalogue.py makes from catalogue.tsv.
#pragma once

#include "i18n/language.h"

#include <array>
#include <cstddef>

namespace dm {

inline constexpr std::size_t languageCount = 20;
inline constexpr std::size_t catalogueSize = 203;

/// All texts of one language. None is empty.
using CatalogueColumn = std::array<WStringView, catalogueSize>;

/// The columns in the order of the language table. The first one, Russian, is the source texts, strictly ascending by
/// UTF-16 unit.
extern const std::array<CatalogueColumn, languageCount> catalogueColumns;

/// The same rows in the same order.
extern const std::array<CatalogueKey, catalogueSize> catalogueKeys;

} // namespace dm

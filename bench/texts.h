// Measurements of texts and stored data. Each prints a line of JSON, or several.
#pragma once

#include <string>

namespace dm::bench {

/// Renders a history of 2 MiB of records, once, in the language.
void measureHistory(const std::string &language);

/// Looks each text of the catalogue up, by tr and by a bare search of the table, in turns.
void measureTr();

/// Stores settings, to be loaded by a later start.
void saveStartSettings();
/// What a start does before its first window: loads the settings and applies the language.
void measureStart();

} // namespace dm::bench

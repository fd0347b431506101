#pragma once

#include "tools/melnar-dict/saved/DictionaryPortrait.h"

#include <string>
#include <string_view>

/// The beginning of every page of a dictionary; other files are unlikely to begin like this.
extern const std::string_view BEGINNING_OF_A_DICTIONARY_PAGE;

/// Returns an HTML page about a dictionary for human readers: one file that loads nothing and runs no script.
std::string toDictionaryPage(const DictionaryPortrait& portrait);

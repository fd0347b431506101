#pragma once

#include "Reader/Term.h"
#include "Reader/TextWindow.h"

namespace Rdf {

/// Reads a language tag, whose '@' stands here, and in RDF 1.2 a direction: @en, @zh-Hant, @ar--rtl.
const char* readLanguageTag(TextWindow& window, const char* at, Term& literal);

} // namespace Rdf

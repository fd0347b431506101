#pragma once

#include "Reader/TextWindow.h"
#include "Reader/Vocabulary.h"

#include <string>
#include <string_view>

namespace Rdf {

/// RDF 1.2 has rdf:langString and rdf:dirLangString only for literals with a language tag. Returns false, with a failure
/// at the datatype, for one that is written so.
inline bool checkDatatype(TextWindow& window, const char* const at, const std::string_view datatype) {
    if (!window.isVersion12() || !datatype.ends_with("angString") ||
        (datatype != Vocabulary::RDF_LANG_STRING && datatype != Vocabulary::RDF_DIR_LANG_STRING))
        return true;
    window.fail(at, "expected a datatype for a literal without language tag, found '" + std::string(datatype) + "'");
    return false;
}

} // namespace Rdf

#include "Reader/SyntaxError.h"

namespace Rdf {

std::string SyntaxError::format(const std::string_view fileName) const {
    return std::string(fileName) + ':' + std::to_string(m_place.m_line) + ':' + std::to_string(m_place.m_column) +
           ": " + m_message;
}

} // namespace Rdf

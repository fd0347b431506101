#include "tests/Reader/Recorder.h"

#include "Reader/CanonicalWriter.h"

void Recorder::takeStatement(const Rdf::Statement& statement) {
    Rdf::CanonicalWriter::appendStatement(statement, m_result.m_statements);
    const Rdf::Term* object = &statement.m_object;
    while (object->m_kind == Rdf::TermKind::TRIPLE)
        object = &object->m_triple->m_object;
    if (object->m_kind != Rdf::TermKind::LITERAL)
        return;
    const Rdf::Place place = m_locate(*object);
    std::string literal = std::to_string(place.m_line) + ':' + std::to_string(place.m_column) + ':' +
                          std::to_string(place.m_offset) + " \"" + std::string(object->m_text) + '"';
    if (!object->m_tag.empty())
        literal.append("@").append(object->m_tag);
    if (object->m_direction != Rdf::Direction::NONE)
        literal.append(object->m_direction == Rdf::Direction::LEFT_TO_RIGHT ? "--ltr" : "--rtl");
    if (!object->m_datatype.empty())
        literal.append("^^").append(object->m_datatype);
    m_result.m_literals.push_back(std::move(literal));
}

void Recorder::takeError(const Rdf::SyntaxError& error) {
    m_result.m_errors.push_back(error.format("").substr(1));
    m_result.m_skipped.push_back(std::to_string(error.m_skippedBegin) + '-' + std::to_string(error.m_skippedEnd));
    m_result.m_skippedBytes += '|';
}

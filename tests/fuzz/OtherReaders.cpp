#include "tests/fuzz/OtherReaders.h"

#include "Reader/Vocabulary.h"

#include <raptor2.h>
#include <serd/serd.h>

#include <algorithm>

using Rdf::Syntax;

void appendIri(const std::string_view iri, std::string& output) {
    output.append("<").append(iri).append("> ");
}

void appendLiteral(const std::string_view text, const std::string_view tag, const std::string_view datatype,
                   std::string& output) {
    output.append("\"").append(text).append("\"");
    for (const char letter : tag) // the others may change case
        output += output.back() == '"' ? '@' : static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    if (tag.empty() && datatype != Rdf::Vocabulary::XSD_STRING)
        output.append("^^").append(datatype);
    output += ' ';
}

void appendBlankNode(std::string& output) {
    output += "_: ";
}

namespace {

struct SerdRun {
    SerdEnv* m_env;
    FoundStatements m_statements;
};

std::string_view viewOf(const SerdNode& node) {
    return {reinterpret_cast<const char*>(node.buf), node.n_bytes};
}

void appendNode(const SerdRun& run, const SerdNode* const node, std::string& output) {
    if (node == nullptr || node->type == SERD_NOTHING)
        return;
    if (node->type == SERD_BLANK)
        return appendBlankNode(output);
    SerdNode expanded = serd_env_expand_node(run.m_env, node);
    appendIri(viewOf(expanded), output);
    serd_node_free(&expanded);
}

SerdStatus takeSerdStatement(void* const handle, SerdStatementFlags, const SerdNode* const graph,
                             const SerdNode* const subject, const SerdNode* const predicate,
                             const SerdNode* const object, const SerdNode* const datatype, const SerdNode* const tag) {
    auto& run = *static_cast<SerdRun*>(handle);
    std::string statement;
    appendNode(run, subject, statement);
    appendNode(run, predicate, statement);
    if (object->type == SERD_LITERAL) {
        std::string datatypeIri;
        appendNode(run, datatype, datatypeIri);
        const bool hasDatatype = datatypeIri.size() > 3;
        appendLiteral(viewOf(*object), tag == nullptr ? std::string_view() : viewOf(*tag),
                      hasDatatype ? std::string_view(datatypeIri).substr(1, datatypeIri.size() - 3)
                                  : Rdf::Vocabulary::XSD_STRING,
                      statement);
    } else {
        appendNode(run, object, statement);
    }
    appendNode(run, graph, statement);
    run.m_statements.push_back(std::move(statement));
    return SERD_SUCCESS;
}

SerdStatus takeSerdBase(void* const handle, const SerdNode* const uri) {
    return serd_env_set_base_uri(static_cast<SerdRun*>(handle)->m_env, uri);
}

SerdStatus takeSerdPrefix(void* const handle, const SerdNode* const name, const SerdNode* const uri) {
    return serd_env_set_prefix(static_cast<SerdRun*>(handle)->m_env, name, uri);
}

void appendTerm(const raptor_term* const term, std::string& output) {
    const auto viewOfUri = [](raptor_uri* const uri) {
        size_t size = 0;
        const unsigned char* const text = raptor_uri_as_counted_string(uri, &size);
        return std::string_view(reinterpret_cast<const char*>(text), size);
    };
    if (term == nullptr)
        return;
    if (term->type == RAPTOR_TERM_TYPE_URI)
        return appendIri(viewOfUri(term->value.uri), output);
    if (term->type == RAPTOR_TERM_TYPE_BLANK)
        return appendBlankNode(output);
    const raptor_term_literal_value& literal = term->value.literal;
    const char* const tag = reinterpret_cast<const char*>(literal.language);
    appendLiteral({reinterpret_cast<const char*>(literal.string), literal.string_len}, tag == nullptr ? "" : tag,
                  literal.datatype == nullptr ? Rdf::Vocabulary::XSD_STRING : viewOfUri(literal.datatype), output);
}

void takeRaptorStatement(void* const found, raptor_statement* const triple) {
    std::string statement;
    appendTerm(triple->subject, statement);
    appendTerm(triple->predicate, statement);
    appendTerm(triple->object, statement);
    appendTerm(triple->graph, statement);
    static_cast<FoundStatements*>(found)->push_back(std::move(statement));
}

} // namespace

OtherResult readWithSerd(const std::string& text, const Syntax syntax, const std::string& base) {
    const SerdSyntax serdSyntax = syntax == Syntax::N_TRIPLES ? SERD_NTRIPLES
                                  : syntax == Syntax::N_QUADS ? SERD_NQUADS
                                  : syntax == Syntax::TURTLE  ? SERD_TURTLE
                                                              : SERD_TRIG;
    SerdNode baseNode = serd_node_from_string(SERD_URI, reinterpret_cast<const uint8_t*>(base.c_str()));
    SerdRun run{serd_env_new(&baseNode), {}};
    SerdReader* const reader =
        serd_reader_new(serdSyntax, &run, nullptr, takeSerdBase, takeSerdPrefix, takeSerdStatement, nullptr);
    serd_reader_set_strict(reader, true);
    std::string error;
    serd_reader_set_error_sink(
        reader,
        [](void* const handle, const SerdError* const found) {
            static_cast<std::string*>(handle)->assign(found->fmt);
            return SERD_SUCCESS;
        },
        &error);
    const SerdStatus status = serd_reader_read_string(reader, reinterpret_cast<const uint8_t*>(text.c_str()));
    serd_reader_free(reader);
    serd_env_free(run.m_env);
    if (status == SERD_SUCCESS)
        error.clear();
    else if (error.empty())
        error = reinterpret_cast<const char*>(serd_strerror(status));
    std::sort(run.m_statements.begin(), run.m_statements.end());
    return {run.m_statements, error};
}

OtherResult readWithRaptor(const std::string& text, const Syntax syntax, const std::string& base) {
    static raptor_world* const world = raptor_new_world();
    static std::string error;
    raptor_world_set_log_handler(world, nullptr, [](void*, raptor_log_message* const message) {
        if (message->level >= RAPTOR_LOG_LEVEL_ERROR && error.empty())
            error = message->text;
    });
    error.clear();
    raptor_parser* const parser = raptor_new_parser(world, syntax == Syntax::N_TRIPLES ? "ntriples"
                                                           : syntax == Syntax::N_QUADS ? "nquads"
                                                           : syntax == Syntax::TURTLE  ? "turtle"
                                                                                       : "trig");
    FoundStatements statements;
    raptor_parser_set_statement_handler(parser, &statements, takeRaptorStatement);
    raptor_uri* const uri = raptor_new_uri(world, reinterpret_cast<const unsigned char*>(base.c_str()));
    const bool hasFailed =
        raptor_parser_parse_start(parser, uri) != 0 ||
        raptor_parser_parse_chunk(parser, reinterpret_cast<const unsigned char*>(text.data()), text.size(), 1) != 0;
    raptor_free_parser(parser);
    raptor_free_uri(uri);
    if (hasFailed && error.empty())
        error = "without saying why";
    std::sort(statements.begin(), statements.end());
    return {statements, error};
}

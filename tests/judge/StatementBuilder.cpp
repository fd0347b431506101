#include "tests/judge/StatementBuilder.h"

#include "tests/judge/IriReference.h"
#include "tests/judge/Refusal.h"
#include "tests/judge/Utf32.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace {

const std::string RDF = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
const std::string XSD = "http://www.w3.org/2001/XMLSchema#";
constexpr size_t LONGEST_PART_OF_A_TAG = 8;
constexpr std::u32string_view NOT_IN_IRIS = U"<>\"{}|^`\\";

const SyntaxTree* find(const SyntaxTree& tree, const std::string_view name) {
    const auto isIt = [&](const SyntaxTree& part) { return part.m_name == name; };
    const auto place = std::find_if(tree.m_parts.begin(), tree.m_parts.end(), isIt);
    return place == tree.m_parts.end() ? nullptr : &*place;
}

void require(const bool isRight, const std::string& claim) {
    if (!isRight)
        throw Refusal("not so: " + claim);
}

} // namespace

void StatementBuilder::build(const SyntaxTree& document) {
    visit(document);
}

JudgedStatements StatementBuilder::takeStatements() {
    std::sort(m_statements.begin(), m_statements.end());
    return std::move(m_statements);
}

void StatementBuilder::emit(const Term& subject, const Term& predicate, const Term& object) {
    m_statements.push_back(describeTriple(subject, predicate, object) + (m_graph.empty() ? "" : " " + m_graph));
}

void StatementBuilder::reify(const Term& reifier, const std::string& triple) {
    emit(reifier, describeIri(RDF + "reifies"), "<<( " + triple + " )>>");
}

void StatementBuilder::visit(const SyntaxTree& tree) {
    if (tree.m_name == "directive")
        visitDirective(tree);
    else if (tree.m_name == "statement" && find(tree, "subject") != nullptr)
        visitLine(tree);
    else if (tree.m_name == "triples")
        visitTriples(tree);
    else if (tree.m_name == "block")
        visitBlock(tree);
    else
        for (const SyntaxTree& part : tree.m_parts)
            visit(part);
}

void StatementBuilder::visitLine(const SyntaxTree& statement) {
    if (const SyntaxTree* const graph = find(statement, "graphLabel"))
        m_graph = makeTerm(*graph);
    emit(makeTerm(*find(statement, "subject")), makeTerm(*find(statement, "predicate")),
         makeTerm(*find(statement, "object")));
    m_graph.clear();
}

void StatementBuilder::visitDirective(const SyntaxTree& tree) {
    const SyntaxTree& directive = tree.m_parts.front();
    const SyntaxTree* const iri = find(directive, "IRIREF");
    if (iri == nullptr)
        return visitVersion(tree);
    if (const SyntaxTree* const prefix = find(directive, "PNAME_NS"))
        m_prefixes[toUtf8(prefix->m_text)] = makeIri(*iri);
    else
        m_base = makeIri(*iri);
}

/// A version has no effect, but is a string like any other.
void StatementBuilder::visitVersion(const SyntaxTree& tree) {
    if (tree.m_name.starts_with("STRING_LITERAL"))
        unescape(tree.m_text, false);
    for (const SyntaxTree& part : tree.m_parts)
        visitVersion(part);
}

void StatementBuilder::visitBlock(const SyntaxTree& tree) {
    const SyntaxTree* block = &tree;
    if (block->m_parts.front().m_name == "triplesOrGraph")
        block = &block->m_parts.front();
    const SyntaxTree* const label = find(*block, "labelOrSubject");
    if (const SyntaxTree* const graph = find(*block, "wrappedGraph")) {
        m_graph = label == nullptr ? "" : makeTerm(*label);
        visit(*graph);
        m_graph.clear();
    } else
        visitTriples(block == &tree ? tree.m_parts.front() : *block);
}

void StatementBuilder::visitTriples(const SyntaxTree& tree) {
    const Term subject = makeTerm(tree.m_parts.front());
    if (const SyntaxTree* const list = find(tree, "predicateObjectList"))
        visitProperties(subject, *list);
}

void StatementBuilder::visitProperties(const Term& subject, const SyntaxTree& list) {
    Term predicate;
    for (const SyntaxTree& part : list.m_parts)
        if (part.m_name == "verb")
            predicate = makeTerm(part);
        else if (part.m_name == "objectList")
            visitObjects(subject, predicate, part);
}

void StatementBuilder::visitObjects(const Term& subject, const Term& predicate, const SyntaxTree& list) {
    Term object;
    for (const SyntaxTree& part : list.m_parts)
        if (part.m_name == "object") {
            object = makeTerm(part);
            emit(subject, predicate, object);
        } else if (part.m_name == "annotation")
            visitAnnotation(describeTriple(subject, predicate, object), part);
}

/// A block belongs to the reifier before it, or otherwise to its own.
void StatementBuilder::visitAnnotation(const std::string& triple, const SyntaxTree& annotation) {
    Term reifier;
    for (const SyntaxTree& part : annotation.m_parts) {
        const bool isBlock = part.m_name == "annotationBlock";
        if (!isBlock || reifier.empty()) {
            reifier = isBlock ? Term(JUDGED_BLANK_NODE) : makeTerm(part);
            reify(reifier, triple);
        }
        if (isBlock)
            visitProperties(std::exchange(reifier, ""), *find(part, "predicateObjectList"));
    }
}

StatementBuilder::Term StatementBuilder::makeTerm(const SyntaxTree& tree) {
    const std::string_view name = tree.m_name;
    if (name == "IRIREF" || name == "PNAME_NS" || name == "PNAME_LN")
        return describeIri(makeIri(tree));
    if (name == "a")
        return describeIri(RDF + "type");
    if (name == "BLANK_NODE_LABEL" || name == "ANON")
        return Term(JUDGED_BLANK_NODE);
    if (name == "collection")
        return makeCollection(tree);
    if (name == "blankNodePropertyList") {
        visitProperties(Term(JUDGED_BLANK_NODE), *find(tree, "predicateObjectList"));
        return Term(JUDGED_BLANK_NODE);
    }
    if (name == "literal" || name == "RDFLiteral" || name == "NumericLiteral" || name == "BooleanLiteral")
        return makeLiteral(tree);
    if (name == "reifier")
        return tree.m_parts.size() == 1 ? Term(JUDGED_BLANK_NODE) : makeTerm(tree.m_parts.back());
    if (name == "reifiedTriple")
        return makeReified(tree);
    if (name == "tripleTerm")
        return "<<( " +
               describeTriple(makeTerm(tree.m_parts[1]), makeTerm(tree.m_parts[2]), makeTerm(tree.m_parts[3])) + " )>>";
    return makeTerm(tree.m_parts.front()); // a rule that only renames a term
}

StatementBuilder::Term StatementBuilder::makeCollection(const SyntaxTree& collection) {
    const Term nil = describeIri(RDF + "nil");
    for (size_t part = 1; part + 1 < collection.m_parts.size(); ++part) {
        emit(Term(JUDGED_BLANK_NODE), describeIri(RDF + "first"), makeTerm(collection.m_parts[part]));
        emit(Term(JUDGED_BLANK_NODE), describeIri(RDF + "rest"),
             part + 2 < collection.m_parts.size() ? Term(JUDGED_BLANK_NODE) : nil);
    }
    return collection.m_parts.size() == 2 ? nil : Term(JUDGED_BLANK_NODE);
}

StatementBuilder::Term StatementBuilder::makeReified(const SyntaxTree& reified) {
    const Term subject = makeTerm(reified.m_parts[1]);
    const Term predicate = makeTerm(reified.m_parts[2]);
    const std::string triple = describeTriple(subject, predicate, makeTerm(reified.m_parts[3]));
    const SyntaxTree* const written = find(reified, "reifier");
    const Term reifier = written == nullptr ? Term(JUDGED_BLANK_NODE) : makeTerm(*written);
    reify(reifier, triple);
    return reifier;
}

StatementBuilder::Term StatementBuilder::makeLiteral(const SyntaxTree& tree) {
    const SyntaxTree* first = &tree.m_parts.front();
    if (first->m_name == "RDFLiteral" || first->m_name == "NumericLiteral" || first->m_name == "BooleanLiteral")
        return makeLiteral(*first);
    if (tree.m_name == "NumericLiteral" || tree.m_name == "BooleanLiteral") {
        const std::string datatype = first->m_name == "INTEGER"   ? "integer"
                                     : first->m_name == "DECIMAL" ? "decimal"
                                     : first->m_name == "DOUBLE"  ? "double"
                                                                  : "boolean";
        return describeLiteral(toUtf8(first->m_text), "", "", XSD + datatype);
    }
    if (first->m_name == "String")
        first = &first->m_parts.front();
    const size_t quotes = first->m_name.find("LONG") == std::string_view::npos ? 1 : 3;
    const std::string text = unescape(first->m_text.substr(quotes, first->m_text.size() - 2 * quotes), false);
    if (tree.m_parts.size() == 1)
        return describeLiteral(text, "", "", "");
    const SyntaxTree& last = tree.m_parts.back();
    if (!last.m_name.starts_with("LANG")) {
        const std::string datatype = makeIri(last);
        require(!m_isVersion12 || (datatype != RDF + "langString" && datatype != RDF + "dirLangString"),
                "a datatype that has a tag is not written");
        return describeLiteral(text, "", "", datatype);
    }
    const std::string tag = toUtf8(last.m_text.substr(1));
    if (!m_isVersion12)
        return describeLiteral(text, tag, "", "");
    const size_t end = tag.find("--");
    const std::string direction = end == std::string::npos ? "" : tag.substr(end + 2);
    require(direction.empty() || direction == "ltr" || direction == "rtl", "a direction is ltr or rtl");
    size_t length = 0;
    for (const char letter : tag.substr(0, end)) {
        length = letter == '-' ? 0 : length + 1;
        require(length <= LONGEST_PART_OF_A_TAG, "a part of a tag has at most 8 characters");
    }
    return describeLiteral(text, tag.substr(0, end), direction, "");
}

/// Makes the IRI of a terminal, or of a rule around it.
std::string StatementBuilder::makeIri(const SyntaxTree& tree) {
    if (!tree.m_parts.empty())
        return makeIri(tree.m_parts.front());
    if (tree.m_name != "IRIREF") {
        const size_t colon = tree.m_text.find(U':');
        const auto prefix = m_prefixes.find(toUtf8(tree.m_text.substr(0, colon + 1)));
        require(prefix != m_prefixes.end(), "the prefix is declared");
        std::u32string local;
        for (const char32_t character : tree.m_text.substr(colon + 1))
            if (character != U'\\')
                local += character;
        return prefix->second + toUtf8(local);
    }
    const std::string iri = resolveIri(m_base, unescape(tree.m_text.substr(1, tree.m_text.size() - 2), true));
    require(hasScheme(iri), "the IRI is absolute");
    return iri;
}

std::string StatementBuilder::unescape(const std::u32string_view text, const bool isIri) const {
    std::u32string result;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] != U'\\') {
            result += text[at];
            continue;
        }
        const char32_t sign = text[++at];
        if (sign != U'u' && sign != U'U') {
            static const std::u32string SIGNS = U"tbnrf\"'\\";
            static const std::u32string MEANINGS = U"\t\b\n\r\f\"'\\";
            result += MEANINGS[SIGNS.find(sign)];
            continue;
        }
        const size_t digits = sign == U'u' ? 4 : 8;
        const auto character = static_cast<char32_t>(std::stoul(toUtf8(text.substr(at + 1, digits)), nullptr, 16));
        at += digits;
        require(character <= 0x10FFFF && (character < 0xD800 || character > 0xDFFF), "an escape is a character");
        require(!isIri || (character > U' ' && NOT_IN_IRIS.find(character) == std::u32string_view::npos),
                "an IRI can hold the character");
        result += character;
    }
    return toUtf8(result);
}

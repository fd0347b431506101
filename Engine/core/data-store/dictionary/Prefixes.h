#pragma once

#include "Engine/core/platform/Export.h"

#include <map>
#include <string>

/// The prefix names that a Turtle writer may abbreviate IRIs with.
///
/// Threads  Reading: any threads concurrently, while nobody declares.
class MELNAR_EXPORT Prefixes {
public:
    /// Declares `prefix` (without the colon) for `iri`, replacing an earlier declaration.
    void declare(const std::string& prefix, const std::string& iri) { m_iris[prefix] = iri; }

    /// The IRI of `prefix`, or nullptr when it is not declared. Valid until the next declaration of this prefix.
    const std::string* getIRI(const std::string& prefix) const {
        const auto found = m_iris.find(prefix);
        return found == m_iris.end() ? nullptr : &found->second;
    }

private:
    std::map<std::string, std::string> m_iris;
};

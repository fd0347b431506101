#pragma once

#include "tests/Reader/ReadText.h"

#include "Reader/TurtleRelay.h"

#include <functional>

/// Records the results of a reader.
class Recorder : public Rdf::TurtleRelay::Sink {
public:
    /// Returns the place of a term according to the reader.
    using Locate = std::function<Rdf::Place(const Rdf::Term&)>;

    explicit Recorder(Locate locate) : m_locate(std::move(locate)) {}

    void takeStatement(const Rdf::Statement& statement) final;
    void takeError(const Rdf::SyntaxError& error) final;
    void takeSkipped(const std::string_view bytes) final { m_result.m_skippedBytes += bytes; }
    void withdraw() final { m_result = {}; }

    ReadResult m_result;

private:
    const Locate m_locate;
};

#include "tools/melnar-dict/input/RdfFormat.h"

#include <gtest/gtest.h>

namespace {

TEST(RdfFormatTest, followsTheExtensionBelowThatOfAPackedFormat) {
    EXPECT_EQ(RdfFormat::N_TRIPLES, formatOfFile("a.nt"));
    EXPECT_EQ(RdfFormat::N_TRIPLES, formatOfFile("a.nt.gz"));
    EXPECT_EQ(RdfFormat::N_QUADS, formatOfFile("dir.ttl/a.b.nq"));
    EXPECT_EQ(RdfFormat::N_QUADS, formatOfFile("a.nq.gz"));
    EXPECT_EQ(RdfFormat::TURTLE, formatOfFile("/x/a.ttl"));
    EXPECT_EQ(RdfFormat::TURTLE, formatOfFile("A.TTL.GZ"));
    EXPECT_EQ(RdfFormat::TRIG, formatOfFile(".trig"));
    EXPECT_EQ(RdfFormat::TRIG, formatOfFile("a.trig.gz"));
    EXPECT_EQ(RdfFormat::N_TRIPLES, formatOfFile("a.nt.bz2"));
    EXPECT_EQ(RdfFormat::N_QUADS, formatOfFile("a.NQ.xz"));
    EXPECT_EQ(RdfFormat::TURTLE, formatOfFile("a.ttl.zst"));
}

TEST(RdfFormatTest, derivesNothingFromOtherNames) {
    for (const char* const name : {"", "-", "a", "a.gz", "a.nt/b", "nt", "a.rdf", "a.turtle", "a.nt.zip", "a.nt.gz.xz",
                                   "a.xz", ".zst", "a.ntx", "a."})
        EXPECT_EQ(std::nullopt, formatOfFile(name)) << name;
}

TEST(RdfFormatTest, knowsEveryFormatByName) {
    for (const char* const name : {"ntriples", "nt", "n-triples", "N-Triples"})
        EXPECT_EQ(RdfFormat::N_TRIPLES, formatOfName(name)) << name;
    for (const char* const name : {"nquads", "nq", "n-quads"})
        EXPECT_EQ(RdfFormat::N_QUADS, formatOfName(name)) << name;
    for (const char* const name : {"turtle", "ttl", "TURTLE"})
        EXPECT_EQ(RdfFormat::TURTLE, formatOfName(name)) << name;
    EXPECT_EQ(RdfFormat::TRIG, formatOfName("trig"));
    for (const char* const name : {"", ".nt", "rdf", "json", "turtl"})
        EXPECT_EQ(std::nullopt, formatOfName(name)) << name;
}

TEST(RdfFormatTest, saysWhatAFormatHas) {
    EXPECT_TRUE(isLineFormat(RdfFormat::N_TRIPLES) && isLineFormat(RdfFormat::N_QUADS));
    EXPECT_FALSE(isLineFormat(RdfFormat::TURTLE) || isLineFormat(RdfFormat::TRIG));
    EXPECT_TRUE(hasGraphs(RdfFormat::N_QUADS) && hasGraphs(RdfFormat::TRIG));
    EXPECT_FALSE(hasGraphs(RdfFormat::N_TRIPLES) || hasGraphs(RdfFormat::TURTLE));
}

} // namespace

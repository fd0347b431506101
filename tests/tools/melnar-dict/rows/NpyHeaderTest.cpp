#include "tools/melnar-dict/rows/NpyHeader.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Returns the text that toBytes makes.
std::string getText(const std::string& bytes) {
    return bytes.substr(NpyHeader::PREAMBLE_SIZE + 2);
}

std::string getRefusal(const std::string& text) {
    const auto failure = catchException<ToolFailure>([&] { NpyHeader::parse(text); });
    EXPECT_EQ(ExitCode::BAD_DATA, failure.getExitCode());
    return failure.what();
}

TEST(NpyHeaderTest, hasItsFixedSizeAndTheBytesOfVersionOne) {
    NpyHeader header;
    header.m_layout = {3, 4};
    header.m_numberOfRows = 17;
    header.m_comment = "# a comment";
    const std::string bytes = header.toBytes();
    ASSERT_EQ(256u, bytes.size());
    EXPECT_EQ(std::string("\x93NUMPY\1\0\xF6\0", 10), bytes.substr(0, 10));
    const std::string text = "{'descr': '<u4', 'fortran_order': False, 'shape': (17, 3), } # a comment";
    EXPECT_EQ(text + std::string(245 - text.size(), ' ') + '\n', bytes.substr(10));
}

TEST(NpyHeaderTest, comesBack) {
    for (const size_t columns : {3u, 4u})
        for (const size_t width : {4u, 8u})
            for (const bool isSigned : {false, true})
                for (const uint64_t rows : {uint64_t(0), uint64_t(1), uint64_t(123456789012345)})
                    for (const char* const comment : {"", "#", "# a 'comment' with { and }"}) {
                        const NpyHeader header{{columns, width}, isSigned, rows, comment};
                        const NpyHeader read = NpyHeader::parse(getText(header.toBytes()));
                        EXPECT_EQ(header.m_layout, read.m_layout);
                        EXPECT_EQ(isSigned, read.m_isSigned);
                        EXPECT_EQ(rows, read.m_numberOfRows);
                        EXPECT_EQ(comment, read.m_comment);
                    }
}

TEST(NpyHeaderTest, theLongestLineOfADictionaryHasRoom) {
    NpyHeader header;
    header.m_numberOfRows = std::numeric_limits<int64_t>::max() / 24;
    header.m_comment = "# melnar-dict: encoded with dictionary " + std::string(32, 'f') + ", generation " +
                       std::to_string(std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(256u, header.toBytes().size());
    EXPECT_EQ(header.m_comment, NpyHeader::parse(getText(header.toBytes())).m_comment);
    header.m_comment.append(256, 'x');
    EXPECT_THROW(header.toBytes(), std::logic_error);
}

TEST(NpyHeaderTest, keysMayHaveAnyOrderAndSpacesMayBeAnywhere) {
    for (const char* const text : {
             "{'descr': '<u4', 'fortran_order': False, 'shape': (5, 4), }\n",
             "{'shape': (5, 4), 'descr': '<u4', 'fortran_order': False}",
             "{\"shape\":(5,4),\"fortran_order\":False,\"descr\":\"<u4\"}",
             " \t{ 'shape' : ( 5 , 4 , ) ,\n'descr' : '<u4' , 'fortran_order' : False } \n\n",
             "{'descr': '<u4', 'fortran_order': False, 'shape': (5, 4), }   # x\n   ",
         }) {
        const NpyHeader header = NpyHeader::parse(text);
        EXPECT_EQ((RowLayout{4, 4}), header.m_layout) << text;
        EXPECT_EQ(5u, header.m_numberOfRows) << text;
    }
}

TEST(NpyHeaderTest, whatIsNoArrayOfIDsIsRefusedWithItsCause) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "its header is malformed: expected '{'"},
        {"{", "its header is malformed: expected a text in quotes"},
        {"{'descr'", "its header is malformed: expected ':'"},
        {"{'descr", "its header is malformed: expected '''"},
        {"{}", "its header lacks one of 'descr', 'fortran_order' and 'shape'"},
        {"{'descr': '<u4', 'fortran_order': False}", "its header lacks one of 'descr', 'fortran_order' and 'shape'"},
        {"{'descr': '<u4', 'descr': '<u4'}", "its header has 'descr', which is unknown or a duplicate"},
        {"{'x': 1}", "its header has 'x', which is unknown or a duplicate"},
        {"{'descr': '>u4'}",
         "its numbers are of the type '>u4'; expected '<u4' or '<u8', little-endian, or with a sign '<i4' or '<i8'"},
        {"{'descr': '<f8'}",
         "its numbers are of the type '<f8'; expected '<u4' or '<u8', little-endian, or with a sign '<i4' or '<i8'"},
        {"{'descr': ''}",
         "its numbers are of the type ''; expected '<u4' or '<u8', little-endian, or with a sign '<i4' or '<i8'"},
        {"{'descr': [('s', '<u4')]}",
         "its items are structures; expected numbers: subject, predicate, object, and graph if there are any"},
        {"{'fortran_order': True}", "it is stored column by column (Fortran order); expected rows (C order)"},
        {"{'fortran_order': 0}", "its header is malformed: expected 'False'"},
        {"{'shape': 5}", "its header is malformed: expected '('"},
        {"{'shape': (x, 3)}", "its header is malformed: expected the length of a dimension"},
        {"{'shape': (-5, 3)}", "its header is malformed: expected the length of a dimension"},
        {"{'shape': (5 3)}", "its header is malformed: expected ','"},
        {"{'shape': (99999999999999999999, 3)}", "its header is malformed: expected the length of a dimension"},
        {"{'descr': '<u4', 'fortran_order': False, 'shape': ()}",
         "the array has 0 dimensions; expected 2: rows and columns"},
        {"{'descr': '<u4', 'fortran_order': False, 'shape': (5,)}",
         "the array has 1 dimension; expected 2: rows and columns"},
        {"{'descr': '<u4', 'fortran_order': False, 'shape': (5, 3, 1)}",
         "the array has 3 dimensions; expected 2: rows and columns"},
        {"{'descr': '<u4', 'fortran_order': False, 'shape': (5, 2)}",
         "the array has 2 columns; expected 3 (triples) or 4 (quads)"},
        {"{'descr': '<u4', 'fortran_order': False, 'shape': (768614336404564651, 3)}",
         "the array has 768614336404564651 rows, more than a file can hold"},
        {"{'descr': '<u4', 'fortran_order': False, 'shape': (5, 3)} x", "its header is malformed: expected its end"},
        {"{'descr': '<u4', 'fortran_order': False, 'shape': (5, 3)} # x\ny",
         "its header is malformed: expected its end"},
        {"{'descr': '<u4' 'fortran_order': False}", "its header is malformed: expected ','"},
    };
    for (const auto& [text, cause] : cases)
        EXPECT_EQ(cause, getRefusal(text)) << text;
}

/// Any header is read or refused, and whatever is read can be used.
TEST(NpyHeaderTest, damagedHeadersAreReadOrRefused) {
    const std::string sound = "{'descr': '<u4', 'fortran_order': False, 'shape': (17, 3), } # a comment   \n";
    const std::string characters = "{}(),:'\"<>ui48[]# \n0917FTx\\\0\xFF";
    std::minstd_rand random(1);
    size_t refused = 0;
    constexpr size_t ROUNDS = 20000;
    for (size_t round = 0; round < ROUNDS; ++round) {
        std::string text = sound;
        for (size_t changes = 1 + random() % 3; changes-- > 0;) {
            const size_t place = random() % text.size();
            const size_t length = random() % 4;
            text.replace(place, length, 1 + random() % 2, characters[random() % characters.size()]);
        }
        try {
            const NpyHeader header = NpyHeader::parse(text);
            EXPECT_TRUE(header.m_layout.m_columns == 3 || header.m_layout.m_columns == 4) << text;
            EXPECT_TRUE(header.m_layout.m_idWidth == 4 || header.m_layout.m_idWidth == 8) << text;
        } catch (const ToolFailure& failure) {
            EXPECT_EQ(ExitCode::BAD_DATA, failure.getExitCode());
            ++refused;
        }
    }
    EXPECT_GT(refused, ROUNDS / 2);
    EXPECT_LT(refused, ROUNDS);
}

} // namespace

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/support/VirtualSlots.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>

using namespace melnar;

namespace {

const std::string FILE_NAME = "Engine/core/a/File";

MelnarException makeException() {
    return MelnarException(FILE_NAME, 42, MelnarException::NO_CAUSES, "text ", std::string("string "), 7ul);
}

std::string getPrintedArguments(const MelnarException& exception) {
    MemoryOutputStream output;
    exception.printArguments(output);
    return output.getBytes();
}

size_t getOffset(const MelnarException& exception, const void* const field) {
    return static_cast<size_t>(static_cast<const uint8_t*>(field) - reinterpret_cast<const uint8_t*>(&exception));
}

} // namespace

TEST(MelnarExceptionTest, piecesBecomeTheMessage) {
    const MelnarException exception = makeException();
    EXPECT_EQ("text string 7", exception.getMessage());
    EXPECT_EQ(FILE_NAME, exception.getSourceFileName());
    EXPECT_EQ(42, exception.getSourceLineNumber());
    EXPECT_EQ("MelnarException", exception.getExceptionName());
    EXPECT_TRUE(exception.getCauses().empty());
}

TEST(MelnarExceptionTest, numberPieceZeroPrintsAsZero) {
    EXPECT_EQ("0", MelnarException(FILE_NAME, 1, MelnarException::NO_CAUSES, 0ul).getMessage());
}

TEST(MelnarExceptionTest, numberPieceOfAMillionIsNotGrouped) {
    EXPECT_EQ("1000000", MelnarException(FILE_NAME, 1, MelnarException::NO_CAUSES, 1000000ul).getMessage());
}

TEST(MelnarExceptionTest, rootConstructorTakesNameAndMessageUnchanged) {
    const MelnarException exception(FILE_NAME, 3, 0, MelnarException::NO_CAUSES, "Name", "message");
    EXPECT_EQ("Name", exception.getExceptionName());
    EXPECT_EQ("message", exception.getMessage());
    EXPECT_STREQ("Name (Engine/core/a/File:3): message", exception.what());
}

TEST(MelnarExceptionTest, whatContainsNamePlaceAndMessage) {
    EXPECT_STREQ("MelnarException (Engine/core/a/File:42): text string 7", makeException().what());
}

TEST(MelnarExceptionTest, kindIsThatOfTheThrowSite) {
    EXPECT_EQ(FailureKind::OTHER, makeException().getKind());
    const MelnarException exception(FailureKind::FULL, FILE_NAME, 3, MelnarException::NO_CAUSES, "message ", 1ul);
    EXPECT_EQ(FailureKind::FULL, exception.getKind());
    EXPECT_STREQ("MelnarException (Engine/core/a/File:3): message 1", exception.what());
    EXPECT_EQ(FailureKind::FULL, MelnarException(exception).getKind());
}

TEST(MelnarExceptionTest, fieldsLieInTheirOrder) {
    const MelnarException exception = makeException();
    const size_t fileNameOffset = getOffset(exception, &exception.getSourceFileName());
    const size_t lineOffset = fileNameOffset + sizeof(std::string);
    const size_t causesOffset = getOffset(exception, &exception.getCauses());
    const size_t nameOffset = getOffset(exception, &exception.getExceptionName());
    const size_t messageOffset = getOffset(exception, &exception.getMessage());
    const size_t whatOffset = messageOffset + sizeof(std::string);
    EXPECT_EQ(sizeof(std::exception), fileNameOffset);
    EXPECT_EQ(lineOffset + sizeof(long), causesOffset);
    EXPECT_EQ(causesOffset + sizeof(std::vector<std::exception_ptr>), nameOffset);
    EXPECT_EQ(nameOffset + sizeof(std::string), messageOffset);
    EXPECT_EQ(whatOffset + sizeof(std::string) + alignof(std::string), sizeof(MelnarException)) << "with the kind";

    const uint8_t* const bytes = reinterpret_cast<const uint8_t*>(&exception);
    long line;
    std::memcpy(&line, bytes + lineOffset, sizeof(line));
    EXPECT_EQ(42, line);
    EXPECT_EQ(exception.what(), reinterpret_cast<const std::string*>(bytes + whatOffset)->c_str());
}

TEST(MelnarExceptionTest, virtualOperationsKeepTheirSlots) {
    static_assert(std::has_virtual_destructor_v<MelnarException>);
    EXPECT_EQ(2u, getVirtualSlot(&MelnarException::what));
    EXPECT_EQ(3u, getVirtualSlot(&MelnarException::printArguments));
}

TEST(MelnarExceptionTest, isCaughtAsStandardException) {
    try {
        throw makeException();
    } catch (const std::exception& exception) {
        EXPECT_STREQ("MelnarException (Engine/core/a/File:42): text string 7", exception.what());
    }
}

TEST(MelnarExceptionTest, copiesAreEqualAndIndependent) {
    const auto original = std::make_unique<MelnarException>(makeException());
    MelnarException copy(*original);
    EXPECT_NE(original->what(), copy.what());
    EXPECT_STREQ(original->what(), copy.what());
    EXPECT_EQ(original->getMessage(), copy.getMessage());
    copy = MelnarException("B", 1, MelnarException::NO_CAUSES, "other");
    EXPECT_STREQ("MelnarException (B:1): other", copy.what());
    EXPECT_EQ("text string 7", original->getMessage());
}

TEST(MelnarExceptionTest, argumentsWithoutCausesAreOneLine) {
    EXPECT_EQ("MelnarException (Engine/core/a/File:42): text string 7\n", getPrintedArguments(makeException()));
}

TEST(MelnarExceptionTest, argumentsNameEveryCauseInOrder) {
    const std::vector<std::exception_ptr> causes = {std::make_exception_ptr(std::runtime_error("first")),
                                                    std::make_exception_ptr(makeException()),
                                                    std::make_exception_ptr(17)};
    const MelnarException exception("E", 5, causes, "outer");
    EXPECT_EQ("MelnarException (E:5): outer\n"
              "    caused by first\n"
              "    caused by MelnarException (Engine/core/a/File:42): text string 7\n"
              "    caused by an exception of unknown type\n",
              getPrintedArguments(exception));
}

TEST(MelnarExceptionTest, causesAreCopiedAndKeptAlive) {
    std::vector<std::exception_ptr> causes = {std::make_exception_ptr(std::runtime_error("cause"))};
    const MelnarException exception("E", 5, causes, "outer");
    const std::exception_ptr cause = causes[0];
    causes.clear();
    ASSERT_EQ(1u, exception.getCauses().size());
    EXPECT_EQ(cause, exception.getCauses()[0]);
}

TEST(MelnarExceptionTest, noCausesIsEmpty) {
    EXPECT_TRUE(MelnarException::NO_CAUSES.empty());
}

#include "Engine/core/data-store/Checksum.h"
#include "Engine/core/data-store/SectionInputStream.h"
#include "Engine/core/data-store/SectionOutputStream.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/support/CaughtException.h"
#include "tests/support/MeagreInputStream.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t BLOCK_SIZE = SectionOutputStream::BLOCK_SIZE;
constexpr size_t BLOCK_FRAME = 16; // the bytes of a block that do not belong to the section
constexpr size_t FILE_FRAME = 28;  // the start and the end of a file

std::string makeText(const size_t size) {
    std::string text(size, '\0');
    std::minstd_rand random(static_cast<unsigned>(size + 1));
    for (char& character : text)
        character = static_cast<char>(random() >> 8);
    return text;
}

/// Writes a file of the given sections, each in pieces of `pieceSize`.
std::string writeFile(const std::vector<std::string>& sections, const size_t pieceSize = ~size_t(0)) {
    MemoryOutputStream file;
    SectionOutputStream output(file, SectionFormat::DICTIONARY);
    EXPECT_EQ("memory", output.getName());
    for (const std::string& section : sections) {
        for (size_t begin = 0; begin < section.size();) {
            const size_t size = std::min(pieceSize, section.size() - begin);
            output.write(section.data() + begin, size);
            output.flush();
            begin += size;
        }
        output.endSection();
    }
    output.endFile();
    return file.getBytes();
}

uint64_t getChecksum(const std::string_view bytes) {
    Checksum checksum;
    checksum.update(bytes.data(), bytes.size());
    return checksum.getValue();
}

/// Writes a file of one section that is divided into these blocks, with correct sizes and checksums.
std::string writeBlocks(const std::vector<std::string>& blocks) {
    std::string file = writeFile({}).substr(0, 12);
    const auto append = [&file](const auto value) {
        file.append(reinterpret_cast<const char*>(&value), sizeof(value));
    };
    for (size_t number = 1; number <= blocks.size(); ++number) {
        const std::string& block = blocks[number - 1];
        const size_t begin = file.size();
        append(uint32_t(0));
        append(static_cast<uint32_t>(block.size()) | (number == blocks.size() ? SectionOutputStream::LAST_BLOCK : 0));
        file += block;
        append(getChecksum(std::string_view(file).substr(begin)));
    }
    append(uint64_t(file.size() + 16));
    append(getChecksum(file));
    return file;
}

/// Reads sections of the given sizes and the end of the file.
std::vector<std::string> readFile(InputStream& file, const std::vector<size_t>& sizes) {
    SectionInputStream input(file, SectionFormat::DICTIONARY);
    std::vector<std::string> sections;
    for (const size_t size : sizes) {
        input.beginSection("section " + std::to_string(sections.size()));
        std::string section(size, '\0');
        input.readExactly(section.data(), size);
        input.endSection();
        sections.push_back(section);
    }
    input.endFile();
    return sections;
}

std::vector<std::string> readFile(const std::string& file, const std::vector<size_t>& sizes) {
    MemoryInputStream bytes(file);
    return readFile(bytes, sizes);
}

std::string getMessage(const std::string& file, const std::vector<size_t>& sizes) {
    return catchException<MelnarException>([&] { readFile(file, sizes); }).getMessage();
}

TEST(SectionStreamsTest, everySizeAroundABlockComesBack) {
    for (const size_t size : {size_t(0), size_t(1), size_t(7), BLOCK_SIZE - 1, BLOCK_SIZE, BLOCK_SIZE + 1,
                              2 * BLOCK_SIZE - 1, 2 * BLOCK_SIZE, 2 * BLOCK_SIZE + 1, 5 * BLOCK_SIZE + 12345}) {
        const std::string text = makeText(size);
        const std::string file = writeFile({text, "between", text});
        const size_t blocks = size == 0 ? 1 : (size - 1) / BLOCK_SIZE + 1;
        EXPECT_EQ(FILE_FRAME + 2 * size + 7 + (2 * blocks + 1) * BLOCK_FRAME, file.size());
        EXPECT_EQ((std::vector<std::string>{text, "between", text}), readFile(file, {size, 7, size}));
    }
}

TEST(SectionStreamsTest, theBytesDoNotDependOnThePiecesInWhichTheyAreWritten) {
    const std::string text = makeText(3 * BLOCK_SIZE + 100);
    const std::string file = writeFile({text});
    for (const size_t pieceSize :
         {size_t(4093), BLOCK_SIZE / 2, BLOCK_SIZE - 1, BLOCK_SIZE, BLOCK_SIZE + 1, 2 * BLOCK_SIZE, 2 * BLOCK_SIZE + 1})
        EXPECT_EQ(file, writeFile({text}, pieceSize)) << pieceSize;
    EXPECT_EQ(writeFile({"abc"}), writeFile({"abc"}, 1));
}

TEST(SectionStreamsTest, aFileWithoutSectionsIsAFile) {
    const std::string file = writeFile({});
    EXPECT_EQ(FILE_FRAME, file.size());
    EXPECT_EQ(std::vector<std::string>(), readFile(file, {}));
}

TEST(SectionStreamsTest, readsDeliverAcrossBlocksInAnyPieces) {
    const std::string text = makeText(2 * BLOCK_SIZE + 77);
    const std::string file = writeFile({text});
    MemoryInputStream bytes(file);
    SectionInputStream input(bytes, SectionFormat::DICTIONARY);
    input.beginSection("text");
    std::string read;
    std::string piece(300007, '\0');
    while (read.size() < text.size()) {
        const size_t delivered = input.read(piece.data(), std::min(piece.size(), text.size() - read.size()));
        ASSERT_GT(delivered, 0u);
        read.append(piece, 0, delivered);
    }
    EXPECT_EQ(text, read);
    input.endSection();
    input.endFile();
}

TEST(SectionStreamsTest, aFileMayArriveInAnyPieces) {
    const std::vector<std::string> sections = {"abc", makeText(1000)};
    const std::string file = writeFile(sections);
    for (const size_t pieceSize : {1u, 2u, 3u, 5u, 7u, 8u, 777u}) {
        MeagreInputStream input(file, pieceSize);
        EXPECT_TRUE(SectionFormat::DICTIONARY.isBeginningOf(input)) << pieceSize;
        MeagreInputStream other("MELNARDX of another kind", pieceSize);
        EXPECT_FALSE(SectionFormat::DICTIONARY.isBeginningOf(other)) << pieceSize;
        MeagreInputStream whole(file, pieceSize);
        EXPECT_EQ(sections, readFile(whole, {3, 1000})) << pieceSize;
    }
}

TEST(SectionStreamsTest, noByteAfterTheBeginningIsRequestedToRecogniseAFile) {
    const std::string file = writeFile({});
    MeagreInputStream input(file, 3);
    EXPECT_TRUE(SectionFormat::DICTIONARY.isBeginningOf(input));
    EXPECT_EQ((std::vector<size_t>{8, 5, 2}), input.m_requests);
}

TEST(SectionStreamsTest, noByteIsDeliveredBeforeTheFirstSection) {
    const std::string file = writeFile({"abc"});
    MemoryInputStream bytes(file);
    SectionInputStream input(bytes, SectionFormat::DICTIONARY);
    char byte;
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'beginning of file': it is shorter than its contents.",
              catchException<MelnarException>([&] { input.read(&byte, 1); }).getMessage());
}

TEST(SectionStreamsTest, everyBitOfASmallFileIsGuarded) {
    const std::vector<std::string> sections = {"header", "", "the third section"};
    const std::string file = writeFile(sections);
    size_t refused = 0;
    for (size_t bit = 0; bit < file.size() * 8; ++bit) {
        std::string damaged = file;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        ASSERT_THROW(readFile(damaged, {6, 0, 17}), MelnarException) << "bit " << bit;
        ++refused;
    }
    EXPECT_EQ(file.size() * 8, refused);
}

TEST(SectionStreamsTest, everyOtherByteValueAtEveryPlaceIsRefused) {
    const std::string file = writeFile({"abc"});
    for (size_t place = 0; place < file.size(); ++place)
        for (unsigned change = 1; change < 256; ++change) {
            std::string damaged = file;
            damaged[place] = static_cast<char>(static_cast<unsigned char>(damaged[place]) ^ change);
            ASSERT_THROW(readFile(damaged, {3}), MelnarException) << "byte " << place << " changed by " << change;
        }
}

TEST(SectionStreamsTest, everyTruncationAndEveryExcessIsRefused) {
    const std::string file = writeFile({"abc", "defghi"});
    for (size_t size = 0; size < file.size(); ++size)
        ASSERT_THROW(readFile(file.substr(0, size), {3, 6}), MelnarException) << size;
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'end of file': bytes follow the end of the file.",
              getMessage(file + '\0', {3, 6}));
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'end of file': bytes follow the end of the file.",
              getMessage(file + file, {3, 6}));
}

TEST(SectionStreamsTest, damageInALaterBlockIsFoundWithItsNumber) {
    const size_t size = 3 * BLOCK_SIZE;
    const std::string file = writeFile({"abc", makeText(size)});
    const size_t secondSection = 12 + 3 + BLOCK_FRAME;
    for (size_t block = 0; block < 3; ++block)
        for (const size_t place : {size_t(8), BLOCK_SIZE / 2, 8 + BLOCK_SIZE - 1, 8 + BLOCK_SIZE + 7}) {
            std::string damaged = file;
            char& byte = damaged[secondSection + block * (BLOCK_SIZE + BLOCK_FRAME) + place];
            byte = static_cast<char>(byte ^ 0x10);
            EXPECT_EQ("Dictionary file 'memory' is damaged: section 'section 1': block " + std::to_string(block + 1) +
                          " does not have the checksum that it was written with.",
                      getMessage(damaged, {3, size}));
        }
}

TEST(SectionStreamsTest, noByteOfADamagedBlockIsDelivered) {
    std::string file = writeFile({"abc"});
    file[12 + 8 + 2] = 'd';
    MemoryInputStream bytes(file);
    SectionInputStream input(bytes, SectionFormat::DICTIONARY);
    EXPECT_THROW(input.beginSection("text"), MelnarException);
}

TEST(SectionStreamsTest, blocksThatChangedPlacesAreFound) {
    const std::string file = writeFile({"abc", "def"});
    const size_t blockSize = 3 + BLOCK_FRAME;
    const std::string swapped = file.substr(0, 12) + file.substr(12 + blockSize, blockSize) +
                                file.substr(12, blockSize) + file.substr(12 + 2 * blockSize);
    EXPECT_EQ(
        "Dictionary file 'memory' is damaged: section 'section 0': block 1 has a header that no block can have there.",
        getMessage(swapped, {3, 3}));
    const std::string large = writeFile({makeText(2 * BLOCK_SIZE)});
    const size_t fullBlock = BLOCK_SIZE + BLOCK_FRAME;
    const std::string exchanged = large.substr(0, 12) + large.substr(12 + fullBlock, fullBlock) +
                                  large.substr(12, fullBlock) + large.substr(12 + 2 * fullBlock);
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'section 0': it is shorter than its contents.",
              getMessage(exchanged, {2 * BLOCK_SIZE}));
}

/// Full blocks of a section have the same header, so only the checksum over everything determines their order.
TEST(SectionStreamsTest, fullBlocksThatChangedPlacesAreFoundByTheChecksumOfTheFile) {
    const std::string file = writeFile({makeText(2 * BLOCK_SIZE + 1)});
    const size_t fullBlock = BLOCK_SIZE + BLOCK_FRAME;
    const std::string exchanged = file.substr(0, 12) + file.substr(12 + fullBlock, fullBlock) +
                                  file.substr(12, fullBlock) + file.substr(12 + 2 * fullBlock);
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'end of file': the file does not have the checksum that "
              "it was written with.",
              getMessage(exchanged, {2 * BLOCK_SIZE + 1}));
}

TEST(SectionStreamsTest, aSectionHasOnlyOneDivisionIntoBlocks) {
    const std::string full = makeText(BLOCK_SIZE);
    EXPECT_EQ(writeFile({"abc"}), writeBlocks({"abc"}));
    EXPECT_EQ(writeFile({full + "d"}), writeBlocks({full, "d"}));
    const auto getMessageOf = [](const std::vector<std::string>& blocks) {
        size_t size = 1; // more than there is, so that all blocks are read
        for (const std::string& block : blocks)
            size += block.size();
        return getMessage(writeBlocks(blocks), {size});
    };
    const auto expected = [](const size_t number) {
        return "Dictionary file 'memory' is damaged: section 'section 0': block " + std::to_string(number) +
               " has a header that no block can have there.";
    };
    EXPECT_EQ(expected(1), getMessageOf({"abc", "d"})) << "a short block, of odd size";
    EXPECT_EQ(expected(1), getMessageOf({"abcd", "e"})) << "a short block, of even size";
    EXPECT_EQ(expected(1), getMessageOf({"", "a"})) << "an empty block";
    EXPECT_EQ(expected(1), getMessageOf({full + "d"})) << "a block that is too long";
    EXPECT_EQ(expected(1), getMessageOf({full + "d", "e"})) << "a block that is too long, and another one";
    EXPECT_EQ(expected(2), getMessageOf({full, ""})) << "an empty block after the last byte";
}

TEST(SectionStreamsTest, aSectionThatIsShorterOrLongerThanExpectedIsNamed) {
    const std::string file = writeFile({"abc", "defg"});
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'section 1': it is shorter than its contents.",
              getMessage(file, {3, 5}));
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'section 1': it is longer than its contents.",
              getMessage(file, {3, 3}));
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'section 0': it is longer than its contents.",
              getMessage(writeFile({makeText(BLOCK_SIZE + 1)}), {BLOCK_SIZE}));
}

TEST(SectionStreamsTest, aWrongNumberOfSectionsIsFound) {
    const std::string file = writeFile({"abc", "def"});
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'end of file': the file does not have the size that it was "
              "written with.",
              getMessage(file, {3}));
    EXPECT_EQ(
        "Dictionary file 'memory' is damaged: section 'section 2': block 1 has a header that no block can have there.",
        getMessage(file, {3, 3, 0}));
}

TEST(SectionStreamsTest, filesOtherThanDictionariesAreRecognised) {
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'beginning of file': the file ends within it.",
              getMessage("", {}));
    EXPECT_EQ("File 'memory' is not a dictionary file.", getMessage("a text that is long enough", {}));
    std::string file = writeFile({});
    for (const char version : {'\0', '\3'}) {
        file[8] = version;
        EXPECT_EQ("Dictionary file 'memory' has format version " + std::to_string(int(version)) +
                      "; this program reads versions up to 2.",
                  getMessage(file, {}));
    }
}

} // namespace

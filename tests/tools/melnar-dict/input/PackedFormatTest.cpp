#include "tools/melnar-dict/input/PackedFormat.h"

#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"

#include <gtest/gtest.h>

namespace {

TEST(PackedFormatTest, knowsEachFormatByItsFirstBytes) {
    for (const char* const text : {"", "text"}) {
        EXPECT_EQ(PackedFormat::GZIP, packedFormatOfBeginning(gzip(text)));
        EXPECT_EQ(PackedFormat::BZIP2, packedFormatOfBeginning(bzip2(text)));
        EXPECT_EQ(PackedFormat::XZ, packedFormatOfBeginning(xz(text)));
        EXPECT_EQ(PackedFormat::ZSTD, packedFormatOfBeginning(zstd(text)));
    }
    for (const char first : {'\x50', '\x5F'})
        EXPECT_EQ(PackedFormat::ZSTD, packedFormatOfBeginning(first + std::string("\x2A\x4D\x18\0\0\0\0", 7)));
}

TEST(PackedFormatTest, needsNoMoreThanTheFirstBytes) {
    for (const std::string& packed : {gzip(""), bzip2(""), xz(""), zstd("")}) {
        const std::string beginning = packed.substr(0, LENGTH_OF_PACKED_BEGINNING);
        EXPECT_EQ(packedFormatOfBeginning(packed), packedFormatOfBeginning(beginning));
    }
}

TEST(PackedFormatTest, takesNoTextForPacked) {
    for (const char* const text : {"", "\x1f", "B", "BZh9", "BZh9:a :b :c.", "BZh91AY&SX", "BZh01AY&SY",
                                   "\xFD"
                                   "7zXZ",
                                   "P*M", "P*M ", "@*M\x18", "(\xB5/", "<a:s>", "\xEF\xBB\xBF<a:s>"})
        EXPECT_EQ(std::nullopt, packedFormatOfBeginning(text)) << text;
}

TEST(PackedFormatTest, knowsWhatANamePromises) {
    EXPECT_EQ(PackedFormat::GZIP, packedFormatOfFile("a.nt.gz"));
    EXPECT_EQ(PackedFormat::GZIP, packedFormatOfFile("a.GZ"));
    EXPECT_EQ(PackedFormat::BZIP2, packedFormatOfFile("dir/a.nt.Bz2"));
    EXPECT_EQ(PackedFormat::XZ, packedFormatOfFile("a.xz"));
    EXPECT_EQ(PackedFormat::ZSTD, packedFormatOfFile(".zst"));
    for (const char* const name : {"", "-", "a", "gz", "a.gz.nt", "a.gzip", "a.zstd", "a.bz", "a.7z", "a.gz/b"})
        EXPECT_EQ(std::nullopt, packedFormatOfFile(name)) << name;
}

TEST(PackedFormatTest, takesThatExtensionAway) {
    EXPECT_EQ("a.nt", withoutPackedExtension("a.nt.gz"));
    EXPECT_EQ("a.NT", withoutPackedExtension("a.NT.BZ2"));
    EXPECT_EQ("a.gz", withoutPackedExtension("a.gz.xz"));
    EXPECT_EQ("", withoutPackedExtension(".zst"));
    EXPECT_EQ("a.nt", withoutPackedExtension("a.nt"));
}

} // namespace

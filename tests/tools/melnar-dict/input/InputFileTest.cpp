#include "tools/melnar-dict/input/InputFile.h"

#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tests/tools/melnar-dict/input/SourceText.h"
#include "tools/melnar-dict/input/FileSource.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <initializer_list>

namespace {

struct Format {
    const char* m_extension;
    std::string (*m_pack)(const std::string& text);
};

constexpr Format FORMATS[] = {{".gz", [](const std::string& text) { return gzip(text); }},
                              {".bz2", [](const std::string& text) { return bzip2(text); }},
                              {".xz", [](const std::string& text) { return xz(text); }},
                              {".zst", [](const std::string& text) { return zstd(text); }}};

class InputFileTest : public testing::Test {
protected:
    std::string read(const std::string& fileName, const std::string& contents, const size_t bytesAtOnce = 4096) const {
        return readAll(*openInputFile(m_directory.addFile(fileName, contents), 2), bytesAtOnce);
    }

    std::string messageOfReading(const std::string& fileName, const std::string& contents) const {
        const auto failure = catchException<ToolFailure>([&] { read(fileName, contents); });
        EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
        return failure.what();
    }

    const TemporaryDirectory m_directory;
};

TEST_F(InputFileTest, deliversPlainFilesOfEverySize) {
    for (const std::string text : {"", "a", "ab", "abc", "abcdefgh"})
        for (const size_t bytesAtOnce : std::initializer_list<size_t>{1, 2, 3, 100})
            EXPECT_EQ(text, read("plain.nt", text, bytesAtOnce));
    const std::string text = makeNumbers(200000);
    EXPECT_EQ(text, read("plain.nt", text));
}

TEST_F(InputFileTest, unpacksWhatBeginsAsPackedWhateverItsName) {
    const std::string text = makeNumbers(200000);
    for (const auto& [extension, pack] : FORMATS)
        for (const char* const name : {"packed.nt", "packed"}) {
            EXPECT_EQ(text, read(name + std::string(extension), pack(text)));
            EXPECT_EQ(text, read(name, pack(text)));
            EXPECT_EQ(text.substr(0, 1000), read(name, pack(text.substr(0, 1000)), 1));
            EXPECT_EQ("", read(name, pack("")));
        }
}

TEST_F(InputFileTest, distinguishesPlainFilesFromCompressedOnes) {
    EXPECT_TRUE(isPlainFile(m_directory.addFile("a.nt", "")));
    EXPECT_TRUE(isPlainFile(m_directory.addFile("b.nt", "BZh9 is text")));
    for (const auto& [extension, pack] : FORMATS) {
        EXPECT_FALSE(isPlainFile(m_directory.addFile("packed", pack("text"))));
        EXPECT_THROW(isPlainFile(m_directory.addFile("c" + std::string(extension), "text")), ToolFailure);
    }
    EXPECT_THROW(isPlainFile(m_directory.getPathOf("absent")), ToolFailure);
}

TEST_F(InputFileTest, continuesReadingAtAPosition) {
    FileSource source(m_directory.addFile("a.nt", "0123456789"));
    EXPECT_EQ("0123456789", readAll(source, 4));
    for (const size_t place : {7u, 0u, 10u, 20u}) {
        source.seek(place);
        EXPECT_EQ(place < 10 ? std::string("0123456789").substr(place) : "", readAll(source, 4));
    }
    EXPECT_STREQ("Invalid argument", catchException<ToolFailure>([&] { source.seek(~uint64_t(0)); }).what());
}

TEST_F(InputFileTest, holdsANameThatPromisesAFormatToIt) {
    for (const auto& [extension, pack] : FORMATS) {
        const std::string message = "its first bytes are not those of the format";
        std::vector<std::string> others{"", "\x1f", "BZh9", "plain text, longer than any magic"};
        for (const auto& [otherExtension, otherPack] : FORMATS)
            if (otherExtension != extension)
                others.push_back(otherPack("text"));
        for (const std::string& contents : others)
            for (const bool isUpperCase : {false, true}) {
                std::string name = "a.nt" + std::string(extension);
                if (isUpperCase)
                    std::transform(name.begin(), name.end(), name.begin(), ::toupper);
                const std::string found = messageOfReading(name, contents);
                EXPECT_TRUE(found.starts_with("not a sound ") && found.ends_with(message)) << name << ' ' << found;
            }
    }
    EXPECT_EQ("not a sound xz file: its first bytes are not those of the format",
              messageOfReading("a.xz", gzip("text")));
}

TEST_F(InputFileTest, reportsWhyAFileCannotBeRead) {
    const auto messageOf = [](const std::string& path) {
        return std::string(catchException<ToolFailure>([&] { openInputFile(path, 1); }).what());
    };
    EXPECT_EQ("No such file or directory", messageOf(m_directory.getPathOf("absent.nt")));
    EXPECT_EQ("Is a directory", messageOf(m_directory.getPathOf("")));
}

TEST_F(InputFileTest, reportsWhyReadingFailedLater) {
    const auto source = openInputFile(m_directory.addFile("a.nt", makeNumbers(200000)), 1);
    SystemCallFaults faults(SystemCallFaults::Call::READ);
    faults.failAfter(1, EIO, SystemCallFaults::Duration::ONCE);
    const auto failure = catchException<ToolFailure>([&] { readAll(*source, 1000); });
    EXPECT_STREQ("Input/output error", failure.what());
    EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
}

TEST_F(InputFileTest, reportsWhyReadingOfACompressedFileFailedLater) {
    const std::string text = makeNumbers(200000);
    for (const auto& [extension, pack] : FORMATS) {
        const std::string path = m_directory.addFile("a.nt", pack(text));
        SystemCallFaults faults(SystemCallFaults::Call::READ);
        faults.failAfter(2, EIO, SystemCallFaults::Duration::ONCE); // the first bytes, and a buffer
        std::string delivered;
        const auto failure = catchException<ToolFailure>([&] { readInto(delivered, *openInputFile(path, 2), 1000); });
        EXPECT_STREQ("Input/output error", failure.what());
        EXPECT_TRUE(text.starts_with(delivered));
        EXPECT_GT(delivered.size(), 0u);
    }
}

TEST_F(InputFileTest, countsTheBytesOfTheFilePackedOrNot) {
    const std::string text = makeNumbers(200000);
    const auto countOf = [&](const std::string& contents) {
        std::atomic<uint64_t> bytesRead = 0;
        EXPECT_EQ(text, readAll(*openInputFile(m_directory.addFile("a.nt", contents), 2, {}, &bytesRead), 4096));
        return bytesRead.load();
    };
    EXPECT_EQ(text.size(), countOf(text));
    for (const auto& [extension, pack] : FORMATS) {
        const std::string packed = pack(text);
        EXPECT_EQ(packed.size(), countOf(packed)) << extension;
    }
}

TEST_F(InputFileTest, readsOnAfterAnInterruption) {
    const auto source = openInputFile(m_directory.addFile("a.nt", "text"), 1);
    SystemCallFaults faults(SystemCallFaults::Call::READ);
    faults.failAfter(0, EINTR, SystemCallFaults::Duration::ONCE);
    EXPECT_EQ("text", readAll(*source, 1000));
    EXPECT_EQ(1u, faults.getNumberOfFailures());
}

TEST_F(InputFileTest, everyAllocationOfTheReadingThreadMayFail) {
    for (const auto& [extension, pack] : FORMATS) {
        const std::string path = m_directory.addFile("a.nt", pack("text"));
        const FailureCounts counts = failEach(ofAllocations(), [&path](FailureRound& round) {
            std::string text;
            if (round.attempt([&] { readInto(text, *openInputFile(path, 2), 1); })) {
                EXPECT_EQ("text", text);
            }
        });
        EXPECT_LT(10u, counts.m_throws);
    }
}

TEST_F(InputFileTest, closesWhatItOpened) {
    const SystemCallFaults opened(SystemCallFaults::Call::OPEN);
    const SystemCallFaults closed(SystemCallFaults::Call::CLOSE);
    read("a.nt", "text");
    for (const auto& [extension, pack] : FORMATS)
        read("a.nt", pack("text"));
    EXPECT_GT(closed.getNumberOfCalls(), 0u);
    EXPECT_EQ(opened.getNumberOfCalls(), closed.getNumberOfCalls());
}

} // namespace

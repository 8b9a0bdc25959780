// The text of a file: compression, encodings, and damaged files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/internal/FileText.h>
#include <sys/stat.h>

#include "Compressed.h"
#include "Files.h"

namespace {

using sdm_internal::FileText;

constexpr std::size_t kBlock = std::size_t{1} << 20;

std::string Rest(FileText& text, std::size_t blockSize = kBlock) {
  std::string all;
  std::string block(blockSize, '\0');
  while (const std::size_t size = text.Read(block.data(), block.size())) {
    all.append(block, 0, size);
  }
  return all;
}

class FileTextTest : public testing::Test {
 protected:
  std::string TextOf(const std::string& bytes, const std::string& encoding = {},
                     std::size_t blockSize = kBlock) const {
    FileText text(folder.Write("data.csv", bytes), encoding);
    return Rest(text, blockSize);
  }

  std::string EncodingOf(const std::string& bytes) const {
    return FileText(folder.Write("data.csv", bytes)).Encoding();
  }

  // Returns "TEXT|ERROR": the text before the error, and the error text without the path of the
  // folder. Returns only the text if there is no error.
  std::string ErrorIn(const std::string& bytes, const std::string& encoding = {}) const {
    std::string before;
    try {
      FileText text(folder.Write("data.csv", bytes), encoding);
      std::string block(kBlock, '\0');
      while (const std::size_t size = text.Read(block.data(), block.size())) {
        before.append(block, 0, size);
      }
    } catch (const DataFileError& error) {
      return before + "|" + std::string(error.what()).substr(folder.Path("").size());
    }
    return before;
  }

  Folder folder;
};

std::string Repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

// Adds `before` zero bytes before each character of an ASCII text, and `after` zero bytes after it.
// The result is the text in UTF-16 or UTF-32.
std::string Wide(const std::string& text, std::size_t before, std::size_t after) {
  std::string wide;
  for (const char c : text) wide += std::string(before, '\0') + c + std::string(after, '\0');
  return wide;
}

// Returns pseudo-random text, which hardly compresses.
std::string Noise(std::size_t size) {
  std::string text;
  unsigned int state = 1;
  while (text.size() < size) {
    state = state * 1664525 + 1013904223;
    text += static_cast<char>(' ' + (state >> 24) % 90);
  }
  return text;
}

TEST_F(FileTextTest, APlainFileIsReadUnchanged) {
  for (const std::string& text : {std::string(), std::string("a"), std::string("a,b\n1,2\r\n"),
                                  std::string("\xFF\0x", 3), Noise(200000)}) {
    EXPECT_EQ(TextOf(text), text);
    EXPECT_EQ(TextOf(text, {}, FileText::kLeastSize), text);
  }
}

TEST_F(FileTextTest, AGzipFileIsDecompressed) {
  for (const std::string& text : {std::string(), std::string("a,b\n1,2\n"), Noise(300000)}) {
    EXPECT_EQ(TextOf(Gzip(text)), text);
    EXPECT_EQ(TextOf(Gzip(text), {}, FileText::kLeastSize), text);
  }
}

TEST_F(FileTextTest, ConcatenatedGzipFilesAreReadAsOneText) {
  EXPECT_EQ(TextOf(Gzip("a,b\n") + Gzip("") + Gzip("1,2\n")), "a,b\n1,2\n");
}

TEST_F(FileTextTest, AZstandardFileIsDecompressed) {
  for (const std::string& text : {std::string(), std::string("a,b\n1,2\n"), Noise(300000)}) {
    EXPECT_EQ(TextOf(Zstd(text)), text);
    EXPECT_EQ(TextOf(Zstd(text), {}, FileText::kLeastSize), text);
  }
}

TEST_F(FileTextTest, ConcatenatedZstandardFramesAreReadAsOneTextWithoutSkippableFrames) {
  const std::string skipped("\x5E\x2A\x4D\x18\x03\0\0\0xyz", 11);

  EXPECT_EQ(TextOf(skipped + Zstd("a,b\n") + skipped + Zstd("1,2\n")), "a,b\n1,2\n");
}

// Each cut leaves at least 4 bytes, because the first 4 bytes identify a Zstandard file.
TEST_F(FileTextTest, ACompressedFileThatIsCutOffAnywhereIsReported) {
  const std::string text = "a,b\n1,2\n" + Noise(50);
  for (const std::string& whole : {Gzip(text), Zstd(text)}) {
    for (std::size_t size = 4; size < whole.size(); ++size) {
      EXPECT_THAT(ErrorIn(whole.substr(0, size)),
                  testing::EndsWith(" data cut off after " + std::to_string(size) + " bytes"));
    }
  }
}

TEST_F(FileTextTest, TheTextBeforeAnErrorIsReadFirst) {
  const std::string gzip = Gzip("a,b\n1,2\n");
  const std::string zstd = Zstd("a,b\n1,2\n");

  EXPECT_EQ(ErrorIn(gzip + gzip.substr(0, 5)), "a,b\n1,2\n|data.csv: gzip data cut off after " +
                                                   std::to_string(gzip.size() + 5) + " bytes");
  EXPECT_EQ(ErrorIn(zstd + zstd.substr(0, 5)),
            "a,b\n1,2\n|data.csv: Zstandard data cut off after " + std::to_string(zstd.size() + 5) +
                " bytes");
}

TEST_F(FileTextTest, AWrongChecksumIsReported) {
  std::string gzip = Gzip("a,b\n1,2\n");
  gzip[gzip.size() - 8] ^= 1;
  std::string zstd = Zstd("a,b\n1,2\n");
  zstd.back() ^= 1;

  EXPECT_THAT(ErrorIn(gzip),
              testing::MatchesRegex("a,b\n1,2\n.data.csv: damaged gzip data before byte [0-9]+: "
                                    "incorrect data check"));
  EXPECT_THAT(ErrorIn(zstd), testing::HasSubstr("|data.csv: damaged Zstandard data before byte "));
  EXPECT_THAT(ErrorIn(zstd), testing::HasSubstr("checksum"));
}

TEST_F(FileTextTest, AWrongLengthIsReported) {
  std::string gzip = Gzip("a,b\n1,2\n");
  gzip.back() ^= 1;

  EXPECT_THAT(ErrorIn(gzip), testing::HasSubstr("incorrect length check"));
}

TEST_F(FileTextTest, BytesAfterCompressedDataAreReported) {
  EXPECT_THAT(ErrorIn(Gzip("a\n") + "a,b,c\n"),
              testing::StartsWith("a\n|data.csv: damaged gzip data before byte "));
  EXPECT_THAT(ErrorIn(Zstd("a\n") + "a,b,c\n"),
              testing::StartsWith("a\n|data.csv: damaged Zstandard data before byte "));
}

// The header of the Zstandard frame declares a window of 2^31 bytes.
TEST_F(FileTextTest, AZstandardWindowOverTheLimitIsReported) {
  EXPECT_THAT(ErrorIn(std::string("\x28\xB5\x2F\xFD\0\xA8\x01\0\0", 9)),
              testing::HasSubstr("damaged Zstandard data"));
}

TEST_F(FileTextTest, ADecompressionBombIsReadInBlocks) {
  const std::string zeroes(std::size_t{64} << 20, '\0');
  for (const std::string& bomb : {Gzip(zeroes), Zstd(zeroes)}) {
    FileText text(folder.Write("data.csv", bomb));
    std::string block(1000, 'x');

    EXPECT_EQ(text.Read(block.data(), block.size()), block.size());
    EXPECT_EQ(block, std::string(block.size(), '\0'));
    EXPECT_LE(text.BytesRead(), std::uint64_t{64} << 10);
  }
}

TEST_F(FileTextTest, AByteOrderMarkDeterminesTheEncoding) {
  EXPECT_EQ(EncodingOf("\xEF\xBB\xBF"
                       "a"),
            "UTF-8");
  EXPECT_EQ(EncodingOf("\xFF\xFE" + Wide("a", 0, 1)), "UTF-16LE");
  EXPECT_EQ(EncodingOf("\xFE\xFF" + Wide("a", 1, 0)), "UTF-16BE");
  EXPECT_EQ(EncodingOf(std::string("\xFF\xFE\0\0", 4) + Wide("a", 0, 3)), "UTF-32LE");
  EXPECT_EQ(EncodingOf(std::string("\0\0\xFE\xFF", 4) + Wide("a", 3, 0)), "UTF-32BE");
  EXPECT_EQ(EncodingOf("a,b\n"), "UTF-8");
  EXPECT_EQ(EncodingOf(""), "UTF-8");
}

TEST_F(FileTextTest, AByteOrderMarkStaysPartOfTheText) {
  const std::string marked =
      "\xEF\xBB\xBF"
      "a,b\n";

  EXPECT_EQ(TextOf(marked), marked);
  EXPECT_EQ(TextOf("\xFF\xFE" + Wide("a,b\n", 0, 1)), marked);
  EXPECT_EQ(TextOf("\xFE\xFF" + Wide("a,b\n", 1, 0)), marked);
  EXPECT_EQ(TextOf(std::string("\xFF\xFE\0\0", 4) + Wide("a,b\n", 0, 3)), marked);
  EXPECT_EQ(TextOf(std::string("\0\0\xFE\xFF", 4) + Wide("a,b\n", 3, 0)), marked);
}

TEST_F(FileTextTest, TextInANamedEncodingBecomesUtf8) {
  EXPECT_EQ(TextOf("M\xFCnchen \x80", "ISO-8859-1"), "M\xC3\xBCnchen \xC2\x80");
  EXPECT_EQ(TextOf("M\xFCnchen", "latin-1"), "M\xC3\xBCnchen");
  EXPECT_EQ(TextOf("5 \x80 \x93x\x94", "windows-1252"), "5 \xE2\x82\xAC \xE2\x80\x9Cx\xE2\x80\x9D");
  EXPECT_EQ(TextOf("5 \x80", "cp1252"), "5 \xE2\x82\xAC");
  EXPECT_EQ(TextOf(Wide("a\n", 0, 1), "UTF-16LE"), "a\n");
  EXPECT_EQ(TextOf("\xFF\xFE" + Wide("a\n", 0, 1), "utf-16"),
            "\xEF\xBB\xBF"
            "a\n");
  EXPECT_EQ(TextOf("M\xC3\xBCnchen", "utf8"), "M\xC3\xBCnchen");
}

TEST_F(FileTextTest, CompressedTextIsDecodedToo) {
  EXPECT_EQ(TextOf(Gzip("M\xFCnchen"), "latin1"), "M\xC3\xBCnchen");
  EXPECT_EQ(TextOf(Zstd("\xFF\xFE" + Wide("a\n", 0, 1))),
            "\xEF\xBB\xBF"
            "a\n");
}

// The file is read in chunks of 64 KiB. It has some characters of two bytes, then many U+1F600 of
// four bytes. If the number of two-byte characters is odd, each chunk ends in the middle of a
// U+1F600.
TEST_F(FileTextTest, CharactersAcrossBlockBoundariesAreWhole) {
  const std::string smile("\x3D\xD8\x00\xDE", 4);
  for (const int before : {0, 1, 2, 3}) {
    const std::string start = std::string(static_cast<std::size_t>(before), 'x');
    const std::string bytes = Wide(start, 0, 1) + Repeated(smile, 100000);
    const std::string expected = start + Repeated("\xF0\x9F\x98\x80", 100000);

    EXPECT_TRUE(TextOf(bytes, "UTF-16LE") == expected) << before;
    EXPECT_TRUE(TextOf(bytes, "UTF-16LE", FileText::kLeastSize + 1) == expected) << before;
  }
}

TEST_F(FileTextTest, BytesThatTheEncodingDoesNotHaveAreReportedWithTheirPosition) {
  EXPECT_EQ(ErrorIn("a,b\n\xFC,\x81\n", "windows-1252"),
            "a,b\n\xC3\xBC,|data.csv:2:4: not windows-1252");
  EXPECT_EQ(ErrorIn("a,\xFC\n", "ASCII"), "a,|data.csv:1:3: not ASCII");
  EXPECT_EQ(ErrorIn(Wide("a\nbc", 0, 1) + std::string("\x00\xDE", 2) + Wide("d", 0, 1), "UTF-16LE"),
            "a\nbc|data.csv:2:3: not UTF-16LE");
}

TEST_F(FileTextTest, ErrorPositionsAreCountedAcrossBlocks) {
  EXPECT_THAT(ErrorIn(Repeated("a,bc\n", 100000) + "xy\x81\n", "windows-1252"),
              testing::EndsWith("|data.csv:100001:3: not windows-1252"));
}

TEST_F(FileTextTest, AFileThatEndsInsideACharacterIsReported) {
  EXPECT_EQ(ErrorIn(Wide("a\nb", 0, 1) + "c", "UTF-16LE"),
            "a\nb|data.csv:2:2: the file ends inside a character");
  EXPECT_EQ(ErrorIn(Gzip(Wide("a\nb", 0, 1) + "\x3D\xD8"), "UTF-16LE"),
            "a\nb|data.csv:2:2: the file ends inside a character");
}

TEST_F(FileTextTest, AnUnknownEncodingIsReported) {
  EXPECT_EQ(ErrorIn("a\n", "Latin-99"), "|data.csv: unknown encoding 'Latin-99'");
  EXPECT_EQ(ErrorIn("a\n", "ASCII//IGNORE"), "|data.csv: unknown encoding 'ASCII//IGNORE'");
  EXPECT_EQ(ErrorIn("a\n", " "), "|data.csv: unknown encoding ' '");
}

TEST_F(FileTextTest, Utf16WithoutAByteOrderMarkIsRejected) {
  EXPECT_EQ(ErrorIn(Wide("a\n", 0, 1), "UTF-16"),
            "|data.csv: UTF-16 without a byte-order mark; name UTF-16LE or UTF-16BE instead");
}

TEST_F(FileTextTest, ProgressCountsTheBytesOfTheStoredFile) {
  for (const std::string& bytes :
       {Noise(300000), Gzip(Noise(300000)), Zstd(Noise(300000)), "\xFF\xFE" + Wide("abc", 0, 1)}) {
    FileText text(folder.Write("data.csv", bytes));
    EXPECT_EQ(text.BytesInAll(), bytes.size());
    EXPECT_LT(text.BytesRead(), bytes.size() + 1);
    Rest(text);
    EXPECT_EQ(text.BytesRead(), bytes.size());
  }
}

TEST_F(FileTextTest, AMovedTextContinuesReading) {
  FileText text(folder.Write("data.csv", Gzip("a,b\n")));
  FileText moved = std::move(text);

  EXPECT_EQ(Rest(moved), "a,b\n");
}

TEST_F(FileTextTest, AFifoIsRejectedWithoutWaiting) {
  ASSERT_EQ(mkfifo(folder.Path("pipe.csv").c_str(), 0600), 0);

  EXPECT_THROW(FileText(folder.Path("pipe.csv")), DataFileError);
}

}  // namespace

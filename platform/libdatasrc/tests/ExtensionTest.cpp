// Extensions of data sources.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ORVX_ExtensionImpl.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace {

using namespace std::string_literals;

using Block = RefCountPtr<ORVX_ExtensionImpl>;
using Extension = ORVX_DataSource::Extension;

Block MakeBlock(int type, const std::string& bytes, int version = 1) {
  return Block(
      new ORVX_ExtensionImpl(type, version, static_cast<long>(bytes.size()), bytes.data()));
}

Extension MakeExtension(int type, const std::string& bytes, int version = 1) {
  return Extension(MakeBlock(type, bytes, version));
}

// --- The block ---

TEST(ExtensionBlock, CopiesItsBytesIncludingZeroBytes) {
  std::string bytes = "a\0z"s;
  const ORVX_ExtensionImpl block(17, 3, 3, bytes.data());
  bytes = "xyz";
  EXPECT_EQ(block.GetType(), 17);
  EXPECT_EQ(block.GetVersion(), 3);
  EXPECT_EQ(block.GetLength(), 3);
  EXPECT_EQ(block.GetBytes(), "a\0z"s);
}

TEST(ExtensionBlock, OutlivesTheBytesItWasMadeFrom) {
  auto bytes = std::make_unique<std::string>("a text that is longer than any string keeps inside");
  const ORVX_ExtensionImpl block(0, 1, static_cast<long>(bytes->size()), bytes->data());
  bytes.reset();
  EXPECT_EQ(block.GetBytes(), "a text that is longer than any string keeps inside");
}

TEST(ExtensionBlock, MayBeEmptyWithOrWithoutNullData) {
  EXPECT_EQ(ORVX_ExtensionImpl(0, 1, 0, nullptr).GetLength(), 0);
  EXPECT_EQ(ORVX_ExtensionImpl(0, 1, 0, "abc").GetBytes(), "");
}

TEST(ExtensionBlock, RejectsANegativeLengthAndNullDataWithALength) {
  const auto refusal = [](long length, const void* data) -> std::string {
    try {
      const ORVX_ExtensionImpl block(0, 1, length, data);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "nothing thrown";
  };
  EXPECT_EQ(refusal(-1, "abc"), "ORVX_ExtensionImpl: negative length -1");
  EXPECT_EQ(refusal(3, nullptr), "ORVX_ExtensionImpl: null data with length 3");
}

// --- Equality ---

TEST(Extension, EqualsAnExtensionOfTheSameTypeVersionAndBytes) {
  EXPECT_TRUE(MakeExtension(7, "abc") == MakeExtension(7, "abc"));
  EXPECT_FALSE(MakeExtension(7, "abc") == MakeExtension(19, "abc"));
  EXPECT_FALSE(MakeExtension(7, "abc") == MakeExtension(7, "abd"));
  EXPECT_FALSE(MakeExtension(7, "abc") == MakeExtension(7, "ab"));
  EXPECT_FALSE(MakeExtension(7, "abc") == MakeExtension(7, ""));
  EXPECT_FALSE(MakeExtension(7, "") == MakeExtension(7, "abc"));
}

TEST(Extension, DiffersByVersionUnlessEmpty) {
  EXPECT_FALSE(MakeExtension(7, "abc", 1) == MakeExtension(7, "abc", 2));
  EXPECT_TRUE(MakeExtension(7, "", 1) == MakeExtension(7, "", 2));
}

TEST(Extension, EmptyExtensionsOfDifferentTypesDiffer) {
  EXPECT_FALSE(MakeExtension(7, "") == MakeExtension(19, ""));
}

TEST(Extension, AnAbsentExtensionEqualsAnEmptyExtension) {
  const DataFreeDataSource without;
  DataFreeDataSource with;
  with.SetExtension(MakeExtension(7, "", 2));
  EXPECT_TRUE(Extension(without, 7) == Extension(with, 7));
  EXPECT_TRUE(Extension(without, 7) == Extension(without, 7));
  EXPECT_FALSE(Extension(without, 7) == Extension(without, 19));
}

// --- In a data source ---

TEST(ExtensionOfASource, HasAnEmptyBlockIfItIsAbsent) {
  const DataFreeDataSource source;
  const Extension absent(source, 7);
  ASSERT_TRUE(absent.Impl().IsValid());
  EXPECT_EQ(absent.Impl()->GetType(), 7);
  EXPECT_EQ(absent.Impl()->GetVersion(), 1);
  EXPECT_EQ(absent.Impl()->GetLength(), 0);
}

TEST(ExtensionOfASource, CannotBeConstructedFromNull) {
  EXPECT_THROW(Extension{Block(nullptr)}, std::invalid_argument);
}

TEST(ExtensionOfASource, SharesItsBlockWithSetterAndGetter) {
  const Block block = MakeBlock(7, "abc");
  DataFreeDataSource source;
  source.SetExtension(Extension(block));
  const Extension asked(source, 7);
  EXPECT_EQ(asked.Impl(), block);
  EXPECT_EQ(block->ReferenceCount(), 3U);
}

TEST(ExtensionOfASource, IsReplacedByAnotherBlockAndNeverChangedInPlace) {
  DataFreeDataSource source;
  source.SetExtension(MakeExtension(7, "before"));
  const Extension before(source, 7);

  source.SetExtension(MakeExtension(7, "after"));

  EXPECT_EQ(before.Impl()->GetBytes(), "before");
  EXPECT_EQ(Extension(source, 7).Impl()->GetBytes(), "after");
}

TEST(ExtensionOfASource, ReleasesAReplacedBlock) {
  const Block block = MakeBlock(7, "before");
  DataFreeDataSource source;
  source.SetExtension(Extension(block));
  source.SetExtension(MakeExtension(7, "after"));
  EXPECT_EQ(block->ReferenceCount(), 1U);
}

TEST(ExtensionOfASource, IsStoredSeparatelyForEachType) {
  DataFreeDataSource source;
  source.SetExtension(MakeExtension(7, "seven"));
  source.SetExtension(MakeExtension(19, "nineteen"));
  source.SetExtension(MakeExtension(-1, "below"));
  EXPECT_EQ(Extension(source, 7).Impl()->GetBytes(), "seven");
  EXPECT_EQ(Extension(source, 19).Impl()->GetBytes(), "nineteen");
  EXPECT_EQ(Extension(source, -1).Impl()->GetBytes(), "below");
  EXPECT_EQ(Extension(source, 0).Impl()->GetLength(), 0);
}

TEST(ExtensionOfASource, KeepsItsVersion) {
  DataFreeDataSource source;
  source.SetExtension(MakeExtension(7, "abc", 4));
  EXPECT_EQ(Extension(source, 7).Impl()->GetVersion(), 4);
}

TEST(ExtensionOfASource, OutlivesTheSource) {
  auto source = std::make_unique<DataFreeDataSource>();
  source->SetExtension(MakeExtension(7, "abc"));
  const Extension kept(*source, 7);
  source.reset();
  EXPECT_EQ(kept.Impl()->GetBytes(), "abc");
}

TEST(ExtensionOfASource, DoesNotChangeTheDirtyFlag) {
  DataFreeDataSource source;
  source.SetExtension(MakeExtension(7, "abc"));
  EXPECT_FALSE(source.IsDirty());
}

TEST(ExtensionOfASource, SharesItsBlockWithACopiedDictionary) {
  const Block block = MakeBlock(7, "abc");
  DataFreeDataSource source;
  source.SetExtension(Extension(block));
  DataFreeDataSource copy;
  copy.SetExtension(MakeExtension(7, "before"));
  copy.SetExtension(MakeExtension(19, "only here"));

  copy.CopyDictionary(&source);
  source.SetExtension(MakeExtension(7, "after"));

  EXPECT_EQ(Extension(copy, 7).Impl(), block);
  EXPECT_EQ(Extension(copy, 19).Impl()->GetLength(), 0);
}

}  // namespace

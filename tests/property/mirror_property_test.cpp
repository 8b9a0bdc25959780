// Random writes of every kind through handles, and two clients that receive only messages: one in
// this process, and one that receives a stream of frames.

#include <client/ChangeStreamReader.h>
#include <client/DictionaryMirror.h>
#include <client/server/ChangeStreamObserver.h>
#include <tests/property/ForAll.h>
#include <tests/property/RandomDictionary.h>
#include <tests/support/Agreement.h>
#include <tests/support/Datasets.h>
#include <tests/support/FrameChannel.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/MessageBytes.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace {

using support::SourceWithRows;
using Outcome = ChangeStreamReader::Outcome;

// Set by the build: 3000, or 1000 with a sanitizer, which makes the tests slow.
constexpr int kRuns = MIRROR_PROPERTY_RUNS;
constexpr std::size_t kWritesPerRun = 8;

// One change of a dataset by a writer. The numbers choose its arguments.
struct Change {
  enum Kind {
    Insert,
    Append,
    Delete,
    Move,
    Rename,
    Retype,
    Relabel,
    Replace,
    Weight,
    Filter,
    Split,
    LongSplit,
    VariableSets,
    MRSets,
    Attributes,
    Dashboard,
    Extension,
    Trends,
    Label,
    FileSpec,
    Imputation,
    Rows,
    Dirty,
    CaseSequence,
    Bulk,
    NoSource,
    ParentSource,
    ChildSource,
    FreshSource,
  };

  int kind = Insert;
  int first = 0;
  int second = 0;
};

std::ostream& operator<<(std::ostream& stream, const Change& change) {
  static const char* const kNames[] = {
      "insert",        "append",    "delete",        "move",         "rename",      "retype",
      "relabel",       "replace",   "weight",        "filter",       "split",       "long split",
      "variable sets", "MR sets",   "attributes",    "dashboard",    "extension",   "trends",
      "label",         "file spec", "imputation",    "rows",         "dirty",       "case sequence",
      "bulk",          "no source", "parent source", "child source", "fresh source"};
  static_assert(std::size(kNames) == Change::FreshSource + 1);
  return stream << kNames[change.kind] << "(" << change.first << ", " << change.second << ")";
}

// Generates a change of any kind. Changes of properties and of the source have the given weights;
// inserting, deleting and changing variables together have weight 32.
rc::Gen<Change> AnyChange(std::size_t propertyWeight, std::size_t sourceWeight) {
  return rc::gen::build<Change>(
      rc::gen::set(
          &Change::kind,
          rc::gen::weightedOneOf<int>(
              {{12, rc::gen::element<int>(Change::Insert, Change::Append)},
               {20, rc::gen::inRange<int>(Change::Delete, Change::Replace + 1)},
               {propertyWeight, rc::gen::inRange<int>(Change::Weight, Change::CaseSequence + 1)},
               {sourceWeight, rc::gen::inRange<int>(Change::Bulk, Change::FreshSource + 1)}})),
      rc::gen::set(&Change::first, rc::gen::inRange(0, 30)),
      rc::gen::set(&Change::second, rc::gen::inRange(0, 30)));
}

using WriteOfChanges = std::vector<Change>;

using Writes = std::vector<WriteOfChanges>;

rc::Gen<Writes> WritesOf(const rc::Gen<Change>& change) {
  return rc::gen::container<Writes>(kWritesPerRun, rc::gen::container<WriteOfChanges>(change));
}

rc::Gen<Writes> AnyWrites() {
  return WritesOf(AnyChange(/*propertyWeight=*/20, /*sourceWeight=*/4));
}

// Changes no properties and rarely replaces the source, so that the lists of variables grow long.
rc::Gen<Writes> WritesOfVariables() {
  return WritesOf(AnyChange(/*propertyWeight=*/0, /*sourceWeight=*/1));
}

// --- making a change ---

void InsertFresh(ORVX_DataSource& source, int number, int position) {
  const ORVX_Variable variable = RandomVariable{number, 0}.Variable();
  if (source.FindVarIndex(variable.GetID()) < 0) source.InsertVariable(position, variable);
}

void MoveVariable(ORVX_DataSource& source, int from, int to) {
  const ORVX_Variable moved = source.GetVariable(from);
  source.DeleteVariables(from, from);
  source.InsertVariable(to, moved);
}

// Makes the first `count` variables the split. `count` may exceed the limit of SetSplit: a caller's
// own source class may report a split of any size.
void SplitByTheFirst(ORVX_DataSource& source, int count, bool separate) {
  std::vector<int> positions(static_cast<std::size_t>(count));
  std::iota(positions.begin(), positions.end(), 0);
  source.SetSplitOfAnySize(static_cast<unsigned int>(count), positions.data(), separate);
}

// Makes a change that needs a variable. The source must have at least one variable.
void ChangeVariable(ORVX_DataSource& source, const Change& change) {
  const int count = source.ColumnCount();
  const int position = change.first % count;
  ORVX_Variable& variable = source.GetVariable(position);
  const ORVX_Variable fresh = RandomVariable{change.second, 0}.Variable();
  const int split[] = {position, change.second % count};
  switch (change.kind) {
    case Change::Delete:
      return source.DeleteVariables(position, std::min(count - 1, position + change.second % 3));
    case Change::Move:
      return MoveVariable(source, position, change.second % count);
    case Change::Rename:
      return variable.SetName("renamed " + std::to_string(change.second));
    case Change::Retype:
      return variable.SetType(change.second);
    case Change::Relabel:
      return variable.SetLabel("label " + std::to_string(change.second));
    case Change::Replace:  // with a variable that has another identifier
      if (source.FindVarIndex(fresh.GetID()) < 0) variable = fresh;
      return;
    case Change::Weight:
      return source.SetWeightVar(change.second % 3 == 0 ? -1 : position);
    case Change::Filter:
      return source.SetFilterVar(change.second % 3 == 0 ? -1 : position);
    case Change::LongSplit:
      return SplitByTheFirst(source, std::min(count, change.second), change.first % 2 == 0);
    default:  // Split
      return source.SetSplit(
          split[0] == split[1] ? 1 : static_cast<unsigned int>(change.second % 3), split,
          change.second % 2 == 0);
  }
}

std::vector<VariableSetImpl> SomeSets(int number) {
  std::vector<VariableSetImpl> sets;
  for (int i = number % 3; i > 0; --i) {
    sets.push_back(support::SetOf("set\t" + std::to_string((number + i) % 5), "v1 v2"));
    sets.back().kind = number % 2;
    sets.back().members.resize(static_cast<std::size_t>(number % 4), LocallyUniqueID());
  }
  return sets;
}

void ChangeProperty(SourceWithRows& source, const Change& change) {
  const std::string text = change.first % 4 == 0 ? "" : "text " + std::to_string(change.first % 7);
  switch (change.kind) {
    case Change::VariableSets:
      return source.SetVariableSets(SomeSets(change.first));
    case Change::MRSets:
      return source.SetMRSets(SomeSets(change.first));
    case Change::Attributes:
      return support::SetAttribute(source, "a" + std::to_string(change.second % 3),
                                   {static_cast<std::size_t>(change.first % 3), text});
    case Change::Dashboard:
      return support::SetAttribute(source, "dashboard.x", {text});
    case Change::Extension:
      return support::SetExtension(source, change.second % 3, change.second % 2 + 1, text);
    case Change::Trends:
      source.GetTrendsInfo()->seasonalPeriod = change.first % 13;
      source.GetTrendsInfo()->timeVariables.assign(static_cast<std::size_t>(change.second % 3),
                                                   support::Id("v1"));
      return;
    case Change::Label:
      return source.SetLabel(change.first % 5 == 0 ? nullptr : text.c_str());
    case Change::FileSpec:
      return source.SetFileSpec(text.c_str());
    case Change::Imputation:
      return source.RowsPerImputation(change.first % 3);
    case Change::Rows:
      source.rows = change.first - 1;
      return;
    default:  // Dirty
      return source.SetDirty(change.first % 2 == 0);
  }
}

SourceWithRows* Layered(ORVX_DataSource* parent) {
  auto child = std::make_unique<SourceWithRows>();
  child->CopyDictionary(parent);
  child->SetParentSource(parent);
  return child.release();
}

// Replaces or removes the source.
void ChangeSource(SvrDMWriteableDataSource& writer, const Change& change) {
  ORVX_DataSource* const present = writer.GetDataSource();
  if (change.kind == Change::NoSource) return writer.SetDataSet(nullptr);
  if (change.kind == Change::ParentSource && present != nullptr) {
    return writer.SetDataSet(present->GetParentSource());
  }
  if (change.kind == Change::ChildSource) return writer.SetDataSet(Layered(present));
  writer.SetDataSet(new SourceWithRows);
}

void Make(const Change& change, SvrDMWriteableDataSource& writer) {
  if (change.kind == Change::CaseSequence) return writer.IncrementCaseSequence();
  if (change.kind == Change::Bulk) return writer.BulkVarMoves();
  if (change.kind >= Change::NoSource) return ChangeSource(writer, change);
  if (writer.GetDataSource() == nullptr) writer.SetDataSet(new SourceWithRows);
  auto& source = dynamic_cast<SourceWithRows&>(**writer);
  const int count = source.ColumnCount();
  if (change.kind == Change::Append || (change.kind == Change::Insert && count == 0)) {
    InsertFresh(source, change.first, count);
  } else if (change.kind == Change::Insert) {
    InsertFresh(source, change.first, change.second % count);
  } else if (change.kind >= Change::VariableSets) {
    ChangeProperty(source, change);
  } else if (count > 0) {
    ChangeVariable(source, change);
  }
}

// --- the clients ---

// An observer that updates a mirror in the same process.
class NearClient : public SvrDMDataSetObserver {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    bytes.clear();
    for (DataSetMsg* message : writer->GetNotifications()) bytes += BytesOf(*message);
    try {
      mirror.Apply(writer->GetNotifications());
    } catch (const MirrorError& thrown) {
      error = thrown.what();
    }
  }

  DictionaryMirror mirror;
  std::string error;
  std::string bytes;  // the encoded messages of the last pass
};

// A dataset and two clients.
class Followed {
 public:
  // A pass compares a dataset if it has observers or if its creation notice is due.
  // WithSource: the dataset is quiet. It has no creation notice, so a pass without observers skips
  // the comparison.
  // WithoutSource: the dataset is not quiet. Its creation notice is due, so passes compare the
  // dataset even without observers, until the notice is sent.
  enum class Added { WithoutSource, WithSource };

  explicit Followed(Added added = Added::WithoutSource)
      : id_(added == Added::WithSource ? registry_.Add(*new SourceWithRows, "", /*quiet=*/true)
                                       : registry_.AddEmpty(/*quiet=*/false)),
        reader_(id_) {}

  void Listen() {
    SvrDMDataset dataset(registry_, id_);
    dataset.Register(near_);
    dataset.Register(stream_);
  }

  void Make(const WriteOfChanges& changes) {
    SvrDMWriteableDataSource writer(registry_, id_, /*tryOnly=*/false, nullptr);
    for (const Change& change : changes) ::Make(change, writer);
  }

  void AssertNearClientIsRight() {
    RC_ASSERT(near_.error == "");
    AssertRight(near_.mirror.Dictionary());
  }

  // Delivers the frames of the last pass to the reader, which must apply them all.
  void AssertFarClientIsRight() {
    while (!channel_.frames.empty()) {
      AssertBytesAreThePass(channel_.frames.front());
      const Outcome outcome = channel_.Deliver(reader_);
      RC_ASSERT(reader_.SnapshotReason() == "");
      RC_ASSERT(outcome == Outcome::Applied);
      RC_ASSERT(reader_.CaseSequence() == SvrDMDataset(registry_, id_).GetCaseSequence());
    }
    AssertRight(reader_.Dictionary());
    RC_ASSERT(reader_.Digest() == DigestOf(Source()));
  }

  support::FrameChannel& Channel() { return channel_; }
  ChangeStreamReader& Reader() { return reader_; }
  void SendSnapshot() {
    const SvrDMInputDataSource handle(registry_, id_, /*tryOnly=*/false);
    stream_.SendSnapshot(handle);
  }
  bool ReaderIsRight() const {
    return support::DifferencesBetween(Source(), reader_.Dictionary()).empty();
  }

 private:
  const ORVX_DataSource& Source() const {
    static const DataFreeDataSource none;
    const ORVX_DataSource* const source = registry_.GetDataSet(id_)->DataSource();
    return source != nullptr ? *source : none;
  }

  void AssertRight(const ORVX_DataSource& dictionary) const {
    const std::string differences = support::DifferencesBetween(Source(), dictionary);
    if (!differences.empty()) RC_FAIL(differences);
    RC_ASSERT(DigestOf(dictionary) == DigestOf(Source()));
  }

  // Checks that the frame contains the bytes of the queued messages, and that decoding and encoding
  // the messages of the frame does not change these bytes.
  void AssertBytesAreThePass(const std::string& bytes) const {
    ChangeFrame frame = ReadChangeFrame(bytes);
    RC_ASSERT(BytesOf(frame) == bytes);
    RC_ASSERT(frame.messageBytes == near_.bytes);
    std::string again;
    for (const auto& message : frame.Messages()) again += BytesOf(*message);
    RC_ASSERT(again == near_.bytes);
  }

  ServerDataManager registry_;
  LocallyUniqueID id_;
  NearClient near_;
  support::FrameChannel channel_;
  ChangeStreamObserver stream_{channel_};
  ChangeStreamReader reader_;
};

TEST(MirrorProperty, MirrorAndDigestEqualTheSourceAfterEveryPass) {
  ForAll(kRuns, [] {
    const auto writes = *AnyWrites();
    Followed followed;
    followed.Listen();
    for (const WriteOfChanges& changes : writes) {
      followed.Make(changes);

      followed.AssertNearClientIsRight();
    }
  });
}

void AssertTheStreamFollows(const Writes& writes) {
  Followed followed;
  followed.Listen();
  for (const WriteOfChanges& changes : writes) {
    followed.Make(changes);

    followed.AssertFarClientIsRight();
  }
}

TEST(MirrorProperty, MirrorOfAStreamEqualsTheSource) {
  ForAll(kRuns, [] { AssertTheStreamFollows(*AnyWrites()); });
}

TEST(MirrorProperty, MirrorOfAStreamEqualsTheSourceWithManyVariables) {
  ForAll(kRuns, [] { AssertTheStreamFollows(*WritesOfVariables()); });
}

// The first writes have no observer; an observer registered later receives the whole dictionary.
TEST(MirrorProperty, LateClientsAreCorrectAfterTheNextWrite) {
  ForAll(kRuns / 5, [] {
    const auto writes = *rc::gen::oneOf(AnyWrites(), WritesOfVariables());
    const auto late = *rc::gen::inRange<std::size_t>(0, kWritesPerRun);
    Followed followed(Followed::Added::WithSource);
    for (std::size_t i = 0; i < writes.size(); ++i) {
      if (i == late) followed.Listen();
      followed.Make(writes[i]);
      if (i < late) continue;

      followed.AssertNearClientIsRight();
      followed.AssertFarClientIsRight();
    }
  });
}

// What happens to one frame in the channel.
enum class Fate { Arrives, IsLost, IsChanged, IsCut, ComesTwice };

std::ostream& operator<<(std::ostream& stream, Fate fate) {
  static const char* const kNames[] = {"arrives", "is lost", "is changed", "is cut", "comes twice"};
  return stream << kNames[static_cast<int>(fate)];
}

// Returns the frames that arrive when `frame` is sent. `place` selects the bit that is changed, or
// the length to which the frame is cut.
std::vector<std::string> Arriving(std::string frame, Fate fate, unsigned int place) {
  switch (fate) {
    case Fate::IsLost:
      return {};
    case Fate::IsChanged:
      frame[place % frame.size()] ^= static_cast<char>(1 << place % 8);
      return {frame};
    case Fate::IsCut:
      frame.resize(place % frame.size());
      return {frame};
    case Fate::ComesTwice:
      return {frame, frame};
    default:
      return {frame};
  }
}

rc::Gen<Fate> AnyFate() {
  return rc::gen::weightedOneOf<Fate>(
      {{4, rc::gen::just(Fate::Arrives)},
       {3, rc::gen::element(Fate::IsLost, Fate::IsChanged, Fate::IsCut, Fate::ComesTwice)}});
}

bool IsDamage(Fate fate) {
  return fate == Fate::IsChanged || fate == Fate::IsCut;
}

rc::Gen<std::vector<Fate>> AFateForEachWrite() {
  return rc::gen::container<std::vector<Fate>>(kWritesPerRun, AnyFate());
}

// Delivers the sent frames to the reader. Returns whether any frame arrives.
bool Arrive(Followed& followed, Fate fate, unsigned int place) {
  ChangeStreamReader& reader = followed.Reader();
  bool any = false;
  for (const std::string& sent : std::exchange(followed.Channel().frames, {})) {
    for (const std::string& frame : Arriving(sent, fate, place)) {
      const Outcome outcome = reader.Apply(frame);
      RC_ASSERT((outcome == Outcome::Applied) == !reader.WantsSnapshot());
      any = true;
    }
  }
  RC_ASSERT(DigestOf(reader.Dictionary()) == reader.Digest());
  return any;
}

// Sends a snapshot. A lost snapshot must not change the reader; after a damaged snapshot, the
// reader must want a snapshot; after an undamaged snapshot, the reader must be correct.
void SendSnapshotTo(Followed& followed, Fate fate, unsigned int place) {
  const ChangeStreamReader& reader = followed.Reader();
  const bool wantedOne = reader.WantsSnapshot();
  const DictionaryDigest before = reader.Digest();
  followed.SendSnapshot();
  Arrive(followed, fate, place);
  if (fate == Fate::IsLost || IsDamage(fate)) {
    RC_ASSERT(reader.WantsSnapshot() == (wantedOne || IsDamage(fate)));
    RC_ASSERT(reader.Digest() == before);
  } else {
    RC_ASSERT(!reader.WantsSnapshot());
    RC_ASSERT(followed.ReaderIsRight());
  }
}

// After each write, sends a snapshot if the reader wants a snapshot, and sometimes even if not. If
// no frame of a pass arrives, the reader cannot know of the loss and is not checked.
TEST(MirrorProperty, ReaderThatReceivesAFrameIsCorrectOrWantsASnapshotDespiteLosses) {
  ForAll(kRuns, [] {
    const auto writes = *AnyWrites();
    const auto fatesOfPasses = *AFateForEachWrite();
    const auto fatesOfSnapshots = *AFateForEachWrite();
    const auto unasked = *rc::gen::container<std::vector<bool>>(
        kWritesPerRun, rc::gen::weightedElement<bool>({{5, false}, {1, true}}));
    const auto place = *rc::gen::arbitrary<unsigned int>();
    Followed followed;
    followed.Listen();
    const ChangeStreamReader& reader = followed.Reader();
    for (std::size_t i = 0; i < writes.size(); ++i) {
      followed.Make(writes[i]);

      const bool hears = Arrive(followed, fatesOfPasses[i], place);
      if (hears) RC_ASSERT(reader.WantsSnapshot() || followed.ReaderIsRight());
      if (reader.WantsSnapshot() || unasked[i])
        SendSnapshotTo(followed, fatesOfSnapshots[i], place);
    }
    SendSnapshotTo(followed, Fate::Arrives, place);
  });
}

}  // namespace

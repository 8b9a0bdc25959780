// Random writes through handles, followed by a client that knows nothing but the messages.

#include <client/DictionaryMirror.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <liborvxdemg/DataSetMsg.h>
#include <liborvxdemg/ReadDataSetMsg.h>
#include <libvserial/VStream.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/property/ForAll.h>
#include <tests/property/RandomDictionary.h>
#include <tests/support/Datasets.h>

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kRuns = 3000;
constexpr std::size_t kWritesPerRun = 8;

// One change of a dataset under a writer. The numbers choose the variables that it is about.
struct Change {
  enum Kind {
    Insert,
    Append,
    Delete,
    Move,
    Rename,
    Retype,
    Relabel,
    ReplaceVariable,
    ReplaceSource,
    LoseSource,
    Bulk,
    kKinds
  };

  int kind = Insert;
  int first = 0;
  int second = 0;
};

std::ostream& operator<<(std::ostream& stream, const Change& change) {
  static const char* const kNames[] = {
      "insert",  "append",           "delete",         "move",        "rename", "retype",
      "relabel", "replace variable", "replace source", "lose source", "bulk"};
  return stream << kNames[change.kind] << "(" << change.first << ", " << change.second << ")";
}

rc::Gen<Change> AnyChange() {
  return rc::gen::build<Change>(
      rc::gen::set(&Change::kind,
                   rc::gen::weightedOneOf<int>(
                       {{12, rc::gen::element<int>(Change::Insert, Change::Append)},
                        {20, rc::gen::element<int>(Change::Delete, Change::Move, Change::Rename,
                                                   Change::Retype, Change::Relabel,
                                                   Change::ReplaceVariable)},
                        {1, rc::gen::element<int>(Change::ReplaceSource, Change::LoseSource,
                                                  Change::Bulk)}})),
      rc::gen::set(&Change::first, rc::gen::inRange(0, 30)),
      rc::gen::set(&Change::second, rc::gen::inRange(0, 30)));
}

using WriteOfChanges = std::vector<Change>;

rc::Gen<std::vector<WriteOfChanges>> AnyWrites() {
  return rc::gen::container<std::vector<WriteOfChanges>>(
      kWritesPerRun, rc::gen::container<WriteOfChanges>(AnyChange()));
}

void InsertFresh(ORVX_DataSource& source, int number, int position) {
  const ORVX_Variable variable = RandomVariable{number, 0}.Variable();
  if (source.FindVarIndex(variable.GetID()) < 0) source.InsertVariable(position, variable);
}

void MoveVariable(ORVX_DataSource& source, int from, int to) {
  const ORVX_Variable moved = source.GetVariable(from);
  source.DeleteVariables(from, from);
  source.InsertVariable(to, moved);
}

void ChangeVariable(ORVX_DataSource& source, const Change& change) {
  const int count = source.ColumnCount();
  const int position = change.first % count;
  ORVX_Variable& variable = source.GetVariable(position);
  const ORVX_Variable fresh = RandomVariable{change.second, 0}.Variable();
  switch (change.kind) {
    case Change::Delete:
      source.DeleteVariables(position, std::min(count - 1, position + change.second % 3));
      break;
    case Change::Move:
      MoveVariable(source, position, change.second % count);
      break;
    case Change::Rename:
      variable.SetName("renamed " + std::to_string(change.second));
      break;
    case Change::Retype:
      variable.SetType(change.second);
      break;
    case Change::Relabel:
      variable.SetLabel("label " + std::to_string(change.second));
      break;
    default:  // ReplaceVariable: by one with another identifier, in its place
      if (source.FindVarIndex(fresh.GetID()) < 0) variable = fresh;
  }
}

void Make(const Change& change, SvrDMWriteableDataSource& writer) {
  if (change.kind == Change::Bulk) return writer.BulkVarMoves();
  if (change.kind == Change::LoseSource) return writer.SetDataSet(nullptr);
  if (change.kind == Change::ReplaceSource || writer.GetDataSource() == nullptr) {
    writer.SetDataSet(new DataFreeDataSource);
  }
  ORVX_DataSource& source = *writer.GetDataSource();
  const int count = source.ColumnCount();
  if (change.kind == Change::Append || count == 0) {
    InsertFresh(source, change.first, count);
  } else if (change.kind == Change::Insert) {
    InsertFresh(source, change.first, change.second % count);
  } else if (change.kind != Change::ReplaceSource) {
    ChangeVariable(source, change);
  }
}

std::vector<std::string> Lines(const std::vector<ORVX_Variable>& variables) {
  std::vector<std::string> lines;
  for (const ORVX_Variable& variable : variables) lines.push_back(support::AsText(variable));
  return lines;
}

// A client on the far side of a byte stream: it gets each pass as bytes.
class Client : public SvrDMDataSetObserver {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    VStream bytes;
    for (DataSetMsg* message : writer->GetNotifications()) message->VSInitSerialization(bytes);
    try {
      Receive(std::string(bytes.Bytes()));
    } catch (const std::exception& exception) {
      error = exception.what();
    }
  }

  DictionaryMirror mirror;
  std::string error;

 private:
  void Receive(const std::string& bytes) {
    VStream stream{std::string_view(bytes)};
    std::vector<std::unique_ptr<DataSetMsg>> received;
    std::vector<DataSetMsg*> pass;
    while (stream.Remaining() > 0) {
      received.push_back(ReadDataSetMsg(stream));
      pass.push_back(received.back().get());
    }
    mirror.Apply(pass);
  }
};

void AssertFollows(const Client& client, ServerDataManager& registry, LocallyUniqueID id) {
  RC_ASSERT(client.error == "");
  const ORVX_DataSource* const source = registry.GetDataSet(id)->DataSource();
  const std::vector<ORVX_Variable> variables =
      source == nullptr ? std::vector<ORVX_Variable>() : support::VariablesOf(*source);
  const std::vector<ORVX_Variable> mirrored = support::VariablesOf(client.mirror.Dictionary());
  if (mirrored == variables) return;
  RC_FAIL(support::SideBySide("source", Lines(variables), "client", Lines(mirrored)));
}

void MakeAll(const WriteOfChanges& changes, ServerDataManager& registry, LocallyUniqueID id) {
  SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, nullptr);
  for (const Change& change : changes) Make(change, writer);
}

TEST(RandomWrites, AfterEachWriteAClientThatReadsTheBytesHasTheSourcesVariables) {
  ForAll(kRuns, [] {
    const auto writes = *AnyWrites();
    ServerDataManager registry;
    const LocallyUniqueID id = registry.AddEmpty(/*quiet=*/false);
    Client client;
    registry.GetDataSet(id)->Register(client);

    for (const WriteOfChanges& changes : writes) {
      MakeAll(changes, registry, id);

      AssertFollows(client, registry, id);
    }
  });
}

// Nobody hears of the first writes; whoever then registers is told of the whole dictionary.
TEST(RandomWrites, AnObserverThatComesLateHasTheSourcesVariablesAfterTheNextWrite) {
  ForAll(kRuns / 5, [] {
    const auto writes = *AnyWrites();
    ServerDataManager registry;
    const LocallyUniqueID id = support::AddDataset(registry, "", /*quiet=*/true);
    Client client;
    const std::size_t late = *rc::gen::inRange<std::size_t>(0, kWritesPerRun);

    for (std::size_t i = 0; i < writes.size(); ++i) {
      if (i == late) registry.GetDataSet(id)->Register(client);
      MakeAll(writes[i], registry, id);
    }

    AssertFollows(client, registry, id);
  });
}

}  // namespace

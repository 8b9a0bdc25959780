// The client process: mirrors a dataset from the frames on its standard input.
//
//   two_processes_client DATASET_IDENTIFIER

#include "Socket.h"

#include <client/ChangeStreamReader.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

const char* NameOf(const ORVX_DataSource& dictionary, int position) {
  return position < 0 ? "-" : dictionary.GetVariable(position).GetName().c_str();
}

void Print(const ORVX_DataSource& dictionary) {
  std::printf("client: \"%s\", %lld cases, weight %s, filter %s%s\n",
              dictionary.GetLabel() != nullptr ? dictionary.GetLabel() : "", dictionary.RowCount(),
              NameOf(dictionary, dictionary.GetWeightVarIndex()),
              NameOf(dictionary, dictionary.GetFilterVarIndex()),
              dictionary.IsDirty() ? ", not saved" : "");
  for (int i = 0; i < dictionary.ColumnCount(); ++i) {
    const ORVX_Variable& variable = dictionary.GetVariable(i);
    std::printf("client: %2d %-10s %s\n", i + 1, variable.GetName().c_str(),
                variable.GetLabel().c_str());
  }
}

Answer AnswerTo(const std::string& frame, ChangeStreamReader& reader) {
  const ChangeStreamReader::Outcome outcome = reader.Apply(frame);
  // Repeats the request while the reader wants a snapshot, because a request may have been lost.
  if (reader.WantsSnapshot()) {
    std::printf("client: requests a snapshot, %s\n", reader.SnapshotReason().c_str());
    return Answer::SnapshotWanted;
  }
  if (outcome != ChangeStreamReader::Outcome::Applied) return Answer::Taken;
  std::printf("client: pass %llu %s\n", static_cast<unsigned long long>(reader.PassNumber()),
              reader.Digest().AsText().c_str());
  return Answer::Taken;
}

// Runs until the stream ends.
void Follow(Socket& server, ChangeStreamReader& reader) {
  while (const auto frame = server.ReceiveFrame()) {
    const Answer answer = AnswerTo(*frame, reader);
    std::fflush(stdout);  // before the answer, so that the server prints after this client
    if (server.SendAnswer(answer) != 0) throw std::runtime_error("cannot send the answer");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DATASET (started by two_processes)\n", argv[0]);
    return 2;
  }
  // argv[1] is LocallyUniqueID::Word() of the dataset, as a decimal number.
  const auto word = static_cast<unsigned int>(std::strtoul(argv[1], nullptr, 10));
  ChangeStreamReader reader(LocallyUniqueID::FromWord(word));
  Socket server(STDIN_FILENO);
  int status = 0;
  try {
    Follow(server, reader);
  } catch (const std::runtime_error& error) {
    std::fprintf(stderr, "client: %s\n", error.what());
    status = 1;
  }
  Print(reader.Dictionary());  // as of the last applied pass
  return status;
}

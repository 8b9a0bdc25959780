// Checks that a program may define names that the libraries use internally: the libraries must not
// call these definitions. Prints the first number of a file as text.
//
//   own_names FILE

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/serverdatamgr.h>

std::string ShortestText(double number);
void WriteNumberAsText(double number, int width, OBS* cells);
bool IsChildOf(const ORVX_DataSource* child, const ORVX_DataSource* ancestor);

class RegistryOfTheProcess {};

class RegularFile {
 public:
  [[noreturn]] explicit RegularFile(const std::string& path);
  [[noreturn]] ~RegularFile();
};

RegularFile::RegularFile(const std::string& /*path*/) {
  std::abort();
}

RegularFile::~RegularFile() {
  std::abort();
}

std::string ShortestText(double /*number*/) {
  return "mine";
}

void WriteNumberAsText(double /*number*/, int /*width*/, OBS* cells) {
  cells->text[0] = 'm';
}

bool IsChildOf(const ORVX_DataSource* /*child*/, const ORVX_DataSource* /*ancestor*/) {
  return true;
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const auto source = SystemFileDataSource::Open(argv[1]);
  source->DeleteVariables(1, source->ColumnCount() - 1);
  source->GetVariable(0).SetType(sizeof(OBS));
  OBS cell;
  const std::unique_ptr<ObsIterator> rows(source->MakeIterator(&cell));
  rows->Next();
  std::printf("%.8s|\n", cell.text);
}

// What any caller may set, without a lock.

#include "Arguments.h"
#include "Commands.h"
#include "Shell.h"

#include <ServerDataManager/serverdatamgr.h>

namespace sdmsh {

void SetHandle(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string name = arguments.Take("NAME");
  arguments.End();
  shell.RefuseName(name, dataset.get());
  caller.Do([&] { dataset->Handle().SetHandle(name); });
}

void SetFileName(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string file = arguments.Take("FILE");
  arguments.End();
  caller.Do([&] { dataset->Handle().SetFileName(file); });
}

void SetWindowState(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  enum { kFront, kMinimized, kHidden };
  const std::size_t mark = arguments.TakeOneOf({"front", "minimized", "hidden"});
  const bool on = arguments.TakeOnOff();
  arguments.End();
  caller.Do([&] {
    SvrDMDataset& handle = dataset->Handle();
    if (mark == kFront) handle.WindowFront(on);
    if (mark == kMinimized) handle.WindowMinimized(on);
    if (mark == kHidden) handle.WindowHidden(on);
  });
}

void SetPassword(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string password = arguments.Take("TEXT");
  const bool mangled = arguments.Accept("mangled");
  arguments.End();
  caller.Do([&] { shell.Registry().Password(dataset->ID(), password, mangled); });
}

}  // namespace sdmsh

#include <ServerDataManager/SourceChain.h>

#include <libdatasrc/ORVX_DataSource.h>

bool IsChildOf(const ORVX_DataSource* child, const ORVX_DataSource* ancestor) {
  if (child == ancestor) return true;
  for (const ORVX_DataSource* link = child; link != nullptr; link = link->GetParentSource()) {
    if (link == ancestor) return true;
  }
  return false;
}

void DeleteDataSourceTo(const ORVX_DataSource* from, const ORVX_DataSource* stop) {
  for (const ORVX_DataSource* link = from; link != nullptr && link != stop;) {
    const ORVX_DataSource* const parent = link->GetParentSource();
    delete link;
    link = parent;
  }
}

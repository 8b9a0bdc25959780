#include <ServerDataManager/Monitors.h>

#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/ExtensionTypes.h>
#include <ServerDataManager/Equality.h>
#include <ServerDataManager/QueueMessage.h>

#include <string>

namespace sdm_internal {

using namespace DEMessages;

bool MonitorMRSets(ORVX_DataSource& view, ORVX_DataSource& ds, SvrDMItem& item) {
  const std::vector<VariableSetImpl>& newSets = ds.GetMRSets();
  if (newSets == view.GetMRSets()) return false;
  Atomically(item, [&] {
    const std::vector<VariableSet> sets = VariableSets(ds, kMRSets);
    SendSetExtension(kMRSetsText, sets, item);
    SendSetExtension(kMRSetsSecondText, sets, item);
    view.SetMRSets(newSets);
  });
  return true;
}

bool MonitorVariableSets(ORVX_DataSource& view, ORVX_DataSource const& ds, SvrDMItem& item) {
  const std::vector<VariableSetImpl>& newSets = ds.GetVariableSets();
  if (newSets == view.GetVariableSets()) return false;
  Atomically(item, [&] {
    SendSetExtension(kVariableSetsText, VariableSets(ds, kVariableSets), item);
    view.SetVariableSets(newSets);
  });
  return true;
}

bool MonitorExtension(ORVX_DataSource& view, ORVX_DataSource& ds,
                      ORVX_DataSource::ExtensionType type, SvrDMItem& item) {
  const ORVX_DataSource::Extension oldExtension(view, type);
  const ORVX_DataSource::Extension newExtension(ds, type);
  const bool changed = oldExtension != newExtension;
  if (!changed) return false;
  Atomically(item, [&] {
    QueueMessage<ExtensionsMsg>(item, newExtension.Impl());
    view.SetExtension(newExtension);
  });
  return true;
}

bool MonitorAttributes(ORVX_DataSource& view, ORVX_DataSource& ds, SvrDMItem& item,
                       bool anyChange) {
  const bool differ = view.GetAttributes() != ds.GetAttributes();
  const bool send = differ || (anyChange && ClearDashboardInfo(ds));
  if (!send) return false;
  Atomically(item, [&] {
    QueueMessage<ExtensionsMsg>(item, TextBlock(kAttributesText, ds.GetAttributes().MakeString()));
    view.SetAttributes(ds.GetAttributes());
  });
  return true;
}

void SendSetExtension(ORVX_DataSource::ExtensionType type, std::vector<VariableSet> const& sets,
                      SvrDMItem& item) {
  std::string text;
  MakeExtension(sets, text, type);
  QueueMessage<ExtensionsMsg>(item, TextBlock(type, text));
}

}  // namespace sdm_internal

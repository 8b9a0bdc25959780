#include <client/DictionaryMessages.h>

#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/ExtensionTypes.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>

#include <string>
#include <utility>

using namespace DEMessages;

namespace {

// Builds messages about one dataset.
class MessageBuilder {
 public:
  MessageBuilder(LocallyUniqueID dataset, unsigned int caseSequence)
      : dataset_(dataset), caseSequence_(caseSequence) {}

  OwnedMessages All() && { return std::move(messages_); }

  void Variables(const ORVX_DataSource& source) {
    std::vector<ORVX_Variable> variables;
    const int count = source.ColumnCount();
    variables.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) variables.push_back(source.GetVariable(i));
    Add<InsertVarsMsg>(variables, LocallyUniqueID());
  }

  void Properties(const ORVX_DataSource& source) {
    Add<FileLabelChangeMsg>(source.GetLabel());
    Add<WeightVarMsg>(source.GetWeightVariableID());
    Add<FilterVarMsg>(source.GetFilterVariableID());
    Add<TrendsInfoMsg>(source.GetTrendsInfo());
    Split(source);
    Sets(source, kMRSets, kMRSetsText);
    Sets(source, kMRSets, kMRSetsSecondText);
    Sets(source, kVariableSets, kVariableSetsText);
    OwnExtension(source);
    Add<ExtensionsMsg>(TextBlock(kAttributesText, source.GetAttributes().MakeString()));
    Add<ResetClientDataMsg>(source.RowCount());
    Add<DataSetModifiedMsg>(source.IsDirty());
  }

 private:
  template <class Message, class... Arguments>
  void Add(const Arguments&... arguments) {
    messages_.push_back(std::make_unique<Message>(0, dataset_, caseSequence_, arguments...));
  }

  void Split(const ORVX_DataSource& source) {
    const unsigned int count = source.GetNSplitVars();
    std::vector<LocallyUniqueID> ids(count);
    for (unsigned int i = 0; i < count; ++i) ids[i] = source.GetSplitVarID(i);
    Add<SplitFileMsg>(static_cast<int>(count), ids.data(), count > 0 && source.GetSplitqSeparate());
  }

  void Sets(const ORVX_DataSource& source, VarSetsType which, ORVX_DataSource::ExtensionType type) {
    std::string text;
    MakeExtension(VariableSets(source, which), text, type);
    Add<ExtensionsMsg>(TextBlock(type, text));
  }

  // All empty extensions get the same message, regardless of their version.
  void OwnExtension(const ORVX_DataSource& source) {
    const ORVX_DataSource::Extension extension(source, kOwnExtension);
    const bool empty = extension.Impl()->GetLength() == 0;
    Add<ExtensionsMsg>(empty ? TextBlock(kOwnExtension, "") : extension.Impl());
  }

  const LocallyUniqueID dataset_;
  const unsigned int caseSequence_;
  OwnedMessages messages_;
};

}  // namespace

OwnedMessages DictionaryMessages(const ORVX_DataSource& source, LocallyUniqueID dataset,
                                 unsigned int caseSequence) {
  MessageBuilder builder(dataset, caseSequence);
  builder.Variables(source);
  builder.Properties(source);
  return std::move(builder).All();
}

OwnedMessages PropertyMessages(const ORVX_DataSource& source, LocallyUniqueID dataset,
                               unsigned int caseSequence) {
  MessageBuilder builder(dataset, caseSequence);
  builder.Properties(source);
  return std::move(builder).All();
}

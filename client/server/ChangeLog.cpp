#include <client/DictionaryJson.h>
#include <client/server/ChangeLog.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <exception>
#include <new>
#include <utility>

void ChangeLog::OnDataSetChanged(SvrDMWriteableDataSource const* writer) {
  if (added_ == 0) pass_.clear();
  try {
    if (failure_.empty()) Add(*writer);
  } catch (const std::bad_alloc&) {
    throw;  // the dataset repeats the pass, and Add continues where it stopped
  } catch (const std::exception& error) {
    failure_ = error.what();
  }
  added_ = 0;
  ++passCount_;
}

void ChangeLog::Add(SvrDMWriteableDataSource const& writer) {
  const std::vector<DataSetMsg*>& messages = writer.GetNotifications();
  pass_.reserve(messages.size());  // so that push_back cannot fail after Apply
  for (; added_ < messages.size(); ++added_) {
    const DataSetMsg* const message = messages[added_];
    if (message == nullptr) continue;
    const ORVX_DataSource& before = mirror_.Dictionary();
    std::string text = format_ == Format::Json ? DictionaryJson::Change(*message, before)
                                               : message->ToString(&before);
    mirror_.Apply(*message);
    pass_.push_back(std::move(text));
  }
}

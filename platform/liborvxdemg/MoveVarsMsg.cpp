#include <liborvxdemg/MoveVarsMsg.h>

#include <liborvxdemg/DataSetMsgVisitor.h>

#include <utility>

namespace DEMessages {

MoveVarsMsg::MoveVarsMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence,
                         std::vector<int> positions, int target)
    : MessageGlue(leading, dataSetID, caseSequence),
      positions_(std::move(positions)),
      target_(target) {}

void MoveVarsMsg::Accept(DataSetMsgVisitor& visitor) const {
  visitor.Visit(*this);
}

void MoveVarsMsg::Serialize(VStream& stream) {
  SerializeCommon(stream);
  const std::uint32_t count = stream.Count(positions_.size(), sizeof(std::int32_t));
  if (!stream.Writing()) positions_.resize(count);
  for (int& position : positions_) stream.Int32(position);
  stream.Int32(target_);
}

}  // namespace DEMessages

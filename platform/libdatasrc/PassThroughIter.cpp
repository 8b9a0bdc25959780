#include <libdatasrc/internal/RowArea.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/PassThroughIter.h>

#include <utility>

using namespace sdm_internal;

PassThroughIter::PassThroughIter(const ORVX_DataSource* source, OBS* area,
                                 std::unique_ptr<const ObsProjector> projector)
    : projector_(std::move(projector)), area_(area) {
  const ORVX_DataSource* const parent = source->GetParentSource();
  if (parent == nullptr) return;
  if (projector_ != nullptr) parentArea_ = RowArea(*parent, *projector_);
  parentRows_.reset(parent->MakeIterator(projector_ != nullptr ? parentArea_.data() : area));
}

PassThroughIter::~PassThroughIter() = default;

bool PassThroughIter::Next() {
  if (parentRows_ == nullptr || !parentRows_->Next()) return false;
  if (projector_ != nullptr) projector_->Project(parentArea_.data(), area_);
  return true;
}

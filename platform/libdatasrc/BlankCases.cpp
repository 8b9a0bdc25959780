#include <libdatasrc/BlankCases.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>

#include <utility>

namespace {

class BlankRows final : public ObsIterator {
 public:
  BlankRows(const ORVX_DataSource& dictionary, long long count, std::function<void()> onNext,
            OBS* area)
      : blank_(DataFreeDataSource(), dictionary),
        onNext_(std::move(onNext)),
        left_(count),
        area_(area) {}

  bool Next() override {
    if (onNext_) onNext_();
    if (left_ == 0) return false;
    --left_;
    blank_.Project(/*from=*/nullptr, area_);
    return true;
  }

 private:
  const ObsProjector blank_;  // writes only missing values: its input has no variables
  const std::function<void()> onNext_;
  long long left_;
  OBS* const area_;
};

}  // namespace

BlankCases::BlankCases(const ORVX_DataSource& dictionary, long long caseCount,
                       std::function<void()> onNext)
    : caseCount_(caseCount), onNext_(std::move(onNext)) {
  CopyDictionary(&dictionary);
}

BlankCases::~BlankCases() = default;

ObsIterator* BlankCases::MakeIterator(OBS* area) const {
  return new BlankRows(*this, caseCount_, onNext_, area);
}

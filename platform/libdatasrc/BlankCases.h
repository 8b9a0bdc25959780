// BlankCases: a data source with a number of blank cases.
//
//   BlankCases cases(dictionary, 20);

#ifndef LIBDATASRC_BLANKCASES_H_
#define LIBDATASRC_BLANKCASES_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/Export.h>

#include <functional>

// In each case, numbers are missing and strings consist of blanks.
//
// Threads: as for ORVX_DataSource.
class SDM_EXPORT BlankCases final : public ORVX_DataSource {
 public:
  // Copies the dictionary. `caseCount` must not be negative.
  //
  // Next() of an iterator first calls `onNext`, on the calling thread. An exception of `onNext`
  // propagates, and no case is skipped. So `onNext` can stop a FilteredDataSource that rejects
  // every case: one Next() of its iterator reads all cases. An empty function is never called.
  BlankCases(const ORVX_DataSource& dictionary, long long caseCount,
             std::function<void()> onNext = {});
  ~BlankCases() override;

  // The iterator may outlive this source.
  ObsIterator* MakeIterator(OBS* area) const override;
  long long RowCount() const override { return caseCount_; }

 private:
  const long long caseCount_;
  const std::function<void()> onNext_;
};

#endif  // LIBDATASRC_BLANKCASES_H_

// SetSplitOfAnySize: sets the split of a data source without a limit on the number of variables if
// libdatasrc supports that.

#ifndef SERVERDATAMANAGER_SPLITOFANYSIZE_H_
#define SERVERDATAMANAGER_SPLITOFANYSIZE_H_

namespace sdm_internal {

// Splits `source` by the variables at the `count` positions in `indices`. If libdatasrc lacks
// Source::SetSplitOfAnySize (docs/replacing-the-platform.md), calls SetSplit, which limits `count`.
template <class Source>
void SetSplitOfAnySize(Source& source, unsigned int count, const int* indices, bool separate) {
  if constexpr (requires { source.SetSplitOfAnySize(count, indices, separate); }) {
    source.SetSplitOfAnySize(count, indices, separate);
  } else {
    source.SetSplit(count, indices, separate);
  }
}

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_SPLITOFANYSIZE_H_

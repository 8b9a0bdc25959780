// SetSplitOfAnySize: sets the split of a data source without a limit on the number of variables.

#ifndef SERVERDATAMANAGER_SPLITOFANYSIZE_H_
#define SERVERDATAMANAGER_SPLITOFANYSIZE_H_

namespace sdm_internal {

// Splits `source` by the variables at the `count` positions in `indices`. Another libdatasrc may
// lack Source::SetSplitOfAnySize (docs/replacing-the-platform.md); SetSplit has a limit.
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

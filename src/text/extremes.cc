// SPDX-License-Identifier: Apache-2.0
//
// Positions of an array's largest and smallest elements.

#include "vexora/text.h"

namespace {

constexpr int kMinCount = 2;

/// Of equal elements the first is returned. A NaN never replaces another element.
template <typename Value>
void findExtremes(const Value *values, int count, unsigned *maxIndex, unsigned *minIndex) {
  if (values == nullptr || count < kMinCount) {
    return;
  }
  *maxIndex = 0;
  *minIndex = 0;
  Value largest = values[0];
  Value smallest = values[0];
  for (int i = 1; i < count; ++i) {
    if (values[i] > largest) {
      largest = values[i];
      *maxIndex = static_cast<unsigned>(i);
    }
    if (values[i] < smallest) {
      smallest = values[i];
      *minIndex = static_cast<unsigned>(i);
    }
  }
}

}  // namespace

void vexora_find_maxandmin_uchar(const unsigned char *values, int count, unsigned *maxIndex, unsigned *minIndex) {
  findExtremes(values, count, maxIndex, minIndex);
}

void vexora_find_maxandmin_float(const float *values, int count, unsigned *maxIndex, unsigned *minIndex) {
  findExtremes(values, count, maxIndex, minIndex);
}

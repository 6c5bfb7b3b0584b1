// SPDX-License-Identifier: Apache-2.0
// Feature switches of the host: a list of names in a file. Every call reads it again, so that a person or a test can
// switch a feature while a daemon runs.

#include "firmware/featuredefine.h"

#include <fstream>
#include <string>
#include <string_view>

#include "no_exceptions.h"

namespace {

constexpr const char *kFeaturesFile = "/conf/platform_features";

bool isListed(std::string_view feature) {
  std::ifstream file(kFeaturesFile);
  for (std::string line; std::getline(file, line);) {
    if (line == feature) {
      return true;
    }
  }
  return false;
}

}  // namespace

int IsFeatureEnabled(const char *feature) {
  if (feature == nullptr || *feature == '\0' || *feature == '#') {
    return 0;
  }
  return vexora::firmware::withoutExceptions(0, [feature] { return isListed(feature) ? 1 : 0; });
}

// SPDX-License-Identifier: Apache-2.0
//
// Files of the private root, in one word each. Whole contents travel as strings. Failures of the helpers themselves
// throw, which ends the test with the reason.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace vexora::test {

// Makes the file, with its parent folders, or replaces what it held.
void write(const std::string &path, std::string_view contents);

// The whole file; throws when it cannot be read.
std::string read(const std::string &path);

bool exists(const std::string &path);

// Makes an empty file, or leaves an existing one as it is. For marker files.
void touch(const std::string &path);

// Makes a folder with its parents.
void makeFolder(const std::string &path);

// Removes a file, or a folder with all it holds; a missing one is fine.
void remove(const std::string &path);

// Names in a folder, sorted; empty when there is no such folder.
std::vector<std::string> list(const std::string &path);

// Empties every writable folder of the private root. Throws outside a private root, so that a test program started by
// hand never deletes the host's files.
void clearRoot();

// Number of open descriptors of this process, to compare before and after a call.
int openDescriptors();

// Starts each test with an empty private root.
class RootTest : public testing::Test {
 protected:
  RootTest() { clearRoot(); }
};

}  // namespace vexora::test

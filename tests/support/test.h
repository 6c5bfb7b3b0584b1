// SPDX-License-Identifier: Apache-2.0
//
// What a test program begins with: the test support, and the system's and the standard library's everyday headers. One
// header, since it is made ready once for all programs.
#pragma once

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include "support/faults.h"
#include "support/files.h"
#include "support/platform.h"
#include "support/process.h"

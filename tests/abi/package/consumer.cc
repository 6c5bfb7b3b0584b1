// SPDX-License-Identifier: Apache-2.0
// The same daemon in C++: the headers and the calls' names must mean the same.
#include "consumer.c"

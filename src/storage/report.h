// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The module name in the reports of fileread and createIfNotExists.
inline constexpr const char *kBaseModule = "libvexora_basefunction";

/// The module name in the reports of vexora_delete_logfile.
inline constexpr const char *kFileModule = "libvexora_fileoperator";

/// The module name in the reports about the TF card.
inline constexpr const char *kCardModule = "vexora_tf_card";

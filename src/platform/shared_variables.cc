// SPDX-License-Identifier: Apache-2.0
//
// Variables that the programs of the firmware share through the library. The library itself never accesses them.

#include <cstdint>

#include "vexora/platform.h"

extern "C" {

std::int32_t DEVICE_COOLING_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_ACPI_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_ADDIN_CARD_OFFSET = 0;
std::int32_t DEVICE_TYPE_BMC_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_BOOT_ERROR_OFFSET = 0;
std::int32_t DEVICE_TYPE_BOOT_OFFSET = 0;
std::int32_t DEVICE_TYPE_CPLD_SELFTEST_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_FAN_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_HDD_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_INTRUSION_OFFSET = 0;
std::int32_t DEVICE_TYPE_LAN_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_LOG_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_MAINBOARD_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_MEM_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_ME_STATUS_OFFSET = 0;
std::int32_t DEVICE_TYPE_OS_BOOT_OFFSET = 0;
std::int32_t DEVICE_TYPE_PCH_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_PCIE_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_PFR_OFFSET = 0;
std::int32_t DEVICE_TYPE_POWER_BUTTON_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_PSU_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_SECUIRTY_VIOLATION = 0;
std::int32_t DEVICE_TYPE_SUBSYSTEM_HEALTH_OFFSET = 0;
std::int32_t DEVICE_TYPE_SYSTEM_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_SYSTEM_FW_PROGRESS_EVENT_OFFSET = 0;
std::int32_t DEVICE_TYPE_VERSION_CHANGE_OFFSET = 0;
std::int32_t DEVICE_TYPE_WATCHDOG1_OFFSET = 0;
std::int32_t IPMIMainReqType = 0;
std::int32_t MCA_TRIGGER_TYPE = 0;
std::int32_t sensor_node_special_status = 0;

void *pISCSIAttemptParamBuf = nullptr;
void *pInitiatorParamBuf = nullptr;
void *pTargetParamBuf = nullptr;
void *pVersionParamBuf = nullptr;
}

// PoE and SyncE are not fitted on this board; the entry points stay for the programs that probe them.
#include "zelboard/i2c.h"

uint32_t FW_GetPoEInfo(...) { return FW_FAIL; }
uint32_t FW_SetPoEPort(...) { return FW_FAIL; }
uint32_t FW_SetPoEReg(...) { return FW_FAIL; }
uint32_t FW_GetPoEReg(...) { return FW_FAIL; }
uint32_t FW_GetSyncE_RegData(...) { return FW_FAIL; }
uint32_t FW_SetSyncE_RegData(...) { return FW_FAIL; }

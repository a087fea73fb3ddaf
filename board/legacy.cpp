#include "zelboard/legacy.h"

uint32_t GppShareData = 0;
uint32_t Gppkey = 0;
uint32_t shm_id = 0;
uint32_t i = 0;

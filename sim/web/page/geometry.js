// The sizes of the flash, as programs see it.

export const kSector = 0x10000; // bytes
export const kSectors = 512;
export const kPage = 256; // bytes
export const kPagesPerSector = kSector / kPage;

// The sizes of the board and of its flash, as programs see them.

const kPorts = 28;
const kPortsPerSlot = 8;
const kSlots = 3;

/** As many numbers as `count` says, from `first` on. */
export const numbers = (first, count) => Array.from({length: count}, (_, i) => first + i);
export const allPorts = () => numbers(0, kPorts);
/** The ports of a slot. Slots count from 1. */
export const portsOf = (slot) => numbers(kPortsPerSlot * (slot - 1), kPortsPerSlot);
/** The slot of a port; 0 for the main board. */
export const slotOf = (port) => (port < kSlots * kPortsPerSlot ? Math.floor(port / kPortsPerSlot) + 1 : 0);

export const kSector = 0x10000; // bytes
export const kSectors = 512;
export const kPage = 256; // bytes
export const kPagesPerSector = kSector / kPage;

/** Of each kind of part the first and the last number. Slot 0 is the main board. */
const kNumbers = {port: [0, kPorts - 1], slot: [0, kSlots], supply: [1, 2], sector: [0, kSectors - 1]};
export const kNumbered = Object.keys(kNumbers);
export const isPart = (kind, number) => number >= kNumbers[kind][0] && number <= kNumbers[kind][1];

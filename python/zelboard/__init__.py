"""zelboard in Python: zelboard.fw is the board-support library, zelboard.sim the virtual switch. Each is imported by
itself: programs that run on the switch need no virtual one."""

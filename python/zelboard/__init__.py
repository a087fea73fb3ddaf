"""zelboard in Python: zelboard.fw is the board-support library, zelboard.sim the virtual switch. Import each by itself:
programs that run on a real switch do not need the virtual one."""

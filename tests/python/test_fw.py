"""zelboard.fw on the virtual switch: every export, and what becomes of arguments, results and statuses."""
from pathlib import Path

from zelboard import fw

EXPORTS = Path(__file__, "../../exports.txt").resolve().read_text().split()


def test_nothing_is_missing() -> None:
    assert sorted(fw.raw.EXPORTS) == sorted(EXPORTS)
    assert [name for name in EXPORTS if not hasattr(fw, name)] == []

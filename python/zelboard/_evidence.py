"""What is kept of the boards of a failed test, and where."""
import hashlib
import re
import shutil
from contextlib import suppress
from pathlib import Path
from typing import Dict, List, Union

from zelboard import sim
from zelboard.sim import Board
from zelboard.switch import Switch

LIST = ".zelboard"  # a file beside the kept folders, with their names
LONGEST_NAME = 100


def remove_kept(folder: Path) -> None:
    """Removes what earlier runs have kept, and nothing else."""
    file = folder / LIST
    with suppress(OSError):
        for name in file.read_text("utf-8").splitlines():
            is_within = Path(name).name == name and name != ".."
            if is_within:
                shutil.rmtree(folder / name, ignore_errors=True)
        file.unlink()


def name_of_folder(test: str) -> str:
    """The folder's name for a test's id. If the name had to be changed or cut, a hash keeps two such ids apart."""
    name = test.replace("::", "-")
    plain = re.sub(r"[^\w.-]+", "-", name, flags=re.ASCII)[:LONGEST_NAME]
    if plain == name:
        return plain
    return f"{plain.rstrip('-')}-{hashlib.sha256(test.encode('utf-8', 'surrogatepass')).hexdigest()[:8]}"


Kept = Dict[str, str]  # texts by their files' names
Made = Union[Board, Switch]


def evidence_of(board: Made) -> Kept:
    try:
        return board.evidence()
    except Exception as error:  # whatever has happened to the board: the report of the test matters more
        return {"board": f"cannot be looked at: {error}\n"}


class Evidence(sim.Witness):
    """The boards that the present test has used, and what is kept of those that it has closed."""

    def __init__(self) -> None:
        self.boards: List[Made] = []
        self.closed: Dict[int, Kept] = {}  # by identity

    def start_test(self) -> None:
        self.boards = []
        self.closed = {}

    def used(self, board: Made) -> None:
        if not any(board is known for known in self.boards):
            self.boards.append(board)

    def not_made(self, board: Made) -> None:
        self.boards = [known for known in self.boards if known is not board]

    def closing(self, board: Made) -> None:
        if any(board is known for known in self.boards):
            for program in board.programs:
                program.read_rest()
            self.closed[id(board)] = evidence_of(board)

    def keep(self, folder: Path) -> str:
        """Writes what is kept and returns where. The first board's files go into the folder, another board's into a folder
        board-N in it."""
        lines: List[str] = []
        folder.mkdir(parents=True, exist_ok=True)
        with open(folder.parent / LIST, "a", encoding="utf-8") as kept_folders:
            kept_folders.write(f"{folder.name}\n")
        for number, board in enumerate(list(self.boards), 1):
            place = folder if number == 1 else folder / f"board-{number}"
            place.mkdir(parents=True, exist_ok=True)
            kept = self.closed.get(id(board)) or evidence_of(board)
            lines.append(f"board {number}: {board.label}")
            for name, text in kept.items():
                (place / name).write_text(text, encoding="utf-8", errors="surrogateescape")
                lines.append(f"{name.partition('.')[0]}: {place / name}")
        return "\n".join(lines)

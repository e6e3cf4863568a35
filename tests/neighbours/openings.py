#!/usr/bin/env python3
"""Finds the places in the product's sources that open, make or change files by another way than LogLib/OpenFile.

    openings.py TREE           lists them; the status is 1 when there are any
    openings.py --self-test    plants one of each in a tree of its own and looks whether they are found
"""

import pathlib
import re
import sys
import tempfile

FOLDERS = ("OsLayer", "LogLib", "Include", "ConfigLib", "Linux")
ONE_PLACE = "LogLib/OpenFile.cpp"

# Name of the way, what gives it away in a source without comments, and a line that does so.
CALL = r"(?<![\w>.])(?:::|std::)?{}\s*\("
WAYS = (
    ("stdio", CALL.format(r"(?:fopen(?:64)?|fdopen|freopen|tmpfile|popen)"), 'std::fopen(path, "a");'),
    ("system call", CALL.format(r"(?:open(?:64|at2?)?|creat)"), "::open(path, O_WRONLY | O_CREAT, 0666);"),
    ("system call by its number", r"\bSYS_(?:open|creat|truncate|chmod|fchmodat|.*link|mknod)",
     "syscall(SYS_openat, AT_FDCWD, path, 1);"),
    ("flags for writing", r"\bO_(?:WRONLY|RDWR|CREAT|TRUNC|APPEND|TMPFILE)\b", "int flags = O_WRONLY;"),
    ("stream", r"\b(?:basic_)?(?:o|i)?fstream\b(?!\s*>)|\b(?:basic_)?filebuf\b", "std::ofstream file(path);"),
    ("temporary file", CALL.format(r"(?:mkstemps?|mkostemps?|mkdtemp|tmpnam|tempnam)"), "mkstemp(path);"),
    ("length by path", CALL.format("truncate(?:64)?") + r"|\bresize_file\b", "truncate(path, 0);"),
    ("mode by path", CALL.format(r"(?:chmod|fchmodat)") + r"|\bfs::permissions\b|\bfilesystem::permissions\b",
     "chmod(path, 0666);"),
    ("owner by path", CALL.format(r"(?:l?chown|fchownat)"), "chown(path, 0, 0);"),
    ("times by path", CALL.format(r"(?:utimes?|lutimes|futimesat|utimensat)"), "utimes(path, nullptr);"),
    ("node", CALL.format(r"(?:mknod(?:at)?|mkfifo(?:at)?)"), "mkfifo(path, 0666);"),
    ("link", CALL.format(r"(?:symlink(?:at)?|link(?:at)?)") + r"|\bcreate_(?:directory_)?(?:sym|hard_)link\b",
     "symlink(from, to);"),
    ("copy by path", r"\bcopy_file\b|\b(?:fs|filesystem)::copy\b", "fs::copy_file(from, to);"),
    ("mount table", CALL.format("setmntent"), 'setmntent(path, "r");'),
    ("command", CALL.format(r"(?:system|exec[lv]p?e?|posix_spawnp?)"), 'system("touch file");'),
)

# What is opened elsewhere all the same: file, the line's beginning, why it is safe. A row that no line needs is an error
# too.
ALLOWED = (
    ("ConfigLib/cfg_utils.cpp", "const int descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);",
     "a folder, to bring a rename to the disk"),
    ("Linux/Server/CP_Linux/Common/FsHelper.cpp", "std::FILE* file = setmntent(table",
     "read, and only root writes in /etc; of another table the checker makes sure that it is a file"),
    ("Linux/Server/Check/Input.cpp", "if (file.error != ENOENT && symlink(",
     "in the checker's own folder, which is open to its user alone"),
    ("Linux/Server/Check/PrivateFolder.cpp", "if (mkdtemp(m_path.data())", "that folder itself, made anew"),
    ("Linux/Server/Check/Worker.cpp", "execve(arguments[0]", "GNU diff by its full path, on files of that folder"),
    ("Linux/Server/Check/main.cpp", '(void)open("/dev/null", O_RDONLY);', "in a folder of root's, and only read"),
    ("Linux/Server/CP_Linux/main.cpp", 'descriptor = open("/dev/null", O_RDWR | O_NOCTTY);',
     "in a folder of root's, and nothing is kept there"),
    ("Linux/Server/CP_Linux/main.cpp", "fs::permissions(LOG_PATH, fs::perms::all);",
     "the folder itself, in one of root's"),
    ("Linux/Server/CP_Linux/main.cpp", "fs::permissions(CONFIG_PATH, fs::perms::all);",
     "the folder itself, in one of root's"),
)

COMMENT_OR_TEXT = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.DOTALL)


def without_comments(source):
    """The source with its comments blanked and its texts emptied; lines keep their numbers."""

    def blank(match):
        text = match.group()
        return '""' if text.startswith('"') else "' '" if text.startswith("'") else "\n" * text.count("\n")

    return COMMENT_OR_TEXT.sub(blank, source)


def findings(tree):
    """Texts, one for each other way and for each row that is not needed."""
    found, needed = [], set()
    for folder in FOLDERS:
        for path in sorted((tree / folder).rglob("*")):
            name = path.relative_to(tree).as_posix()
            if path.suffix not in (".cpp", ".h", ".c", ".hpp") or name == ONE_PLACE:
                continue
            source = path.read_text()
            lines = zip(source.splitlines(), without_comments(source).splitlines())
            for number, (whole, line) in enumerate(lines, 1):
                if line.lstrip().startswith("#include"):
                    continue
                allowed = [row for row in ALLOWED if row[0] == name and whole.strip().startswith(row[1])]
                needed.update(allowed)
                if allowed:
                    continue
                found += [f"{name}:{number}: {way}: {line.strip()}" for way, pattern, _ in WAYS
                          if re.search(pattern, line)]
    return found + [f"{row[0]}: no line begins with: {row[1]}" for row in ALLOWED if row not in needed]


def self_test():
    """Every way is found in code, and not in comments and texts; the one place is let alone."""
    wrong = []
    for way, _, line in WAYS:
        for text, expected in ((line, True), (f"// {line}", False), (f"/* {line} */", False),
                               ('const char* text = "' + line.replace('"', '\\"') + '";', False)):
            for name, looked_at in (("ConfigLib/planted.cpp", True), ("Linux/deep/planted.h", True),
                                    (ONE_PLACE, False), ("tests/planted.cpp", False)):
                with tempfile.TemporaryDirectory() as folder:
                    path = pathlib.Path(folder) / name
                    path.parent.mkdir(parents=True)
                    path.write_text(f"void f() {{\n    {text}\n}}\n")
                    found = any(f"{name}:2: {way}:" in finding for finding in findings(pathlib.Path(folder)))
                    if found != (expected and looked_at):
                        wrong.append(f"{name}: {text}: {'found' if found else 'not found'}")
    with tempfile.TemporaryDirectory() as folder:
        unneeded = findings(pathlib.Path(folder))
        if len(unneeded) != len(ALLOWED):
            wrong.append("rows that no line needs are not told")
    return wrong


def main():
    complaints = self_test() if sys.argv[1:] == ["--self-test"] else findings(pathlib.Path(sys.argv[1]))
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())

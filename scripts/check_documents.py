#!/usr/bin/env python3
"""Every file and folder that a document names is there: targets of links, and paths between backquotes that begin with a
folder of the tree or of src."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = {p.name for base in (ROOT, ROOT / "src") for p in base.iterdir() if p.is_dir() and p.name != "build"}


def is_there(path, document):
    tries = [ROOT, ROOT / "src", ROOT / "src" / "app", document.parent]
    return any((base / path).exists() or ("*" in path and any(base.glob(path))) for base in tries)


def main():
    documents = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *(ROOT / "docs").rglob("*.md"), *(ROOT / "share").rglob("*.md")]
    missing = []
    for document in documents:
        text = document.read_text().replace("FOLDER", "*")
        named = [(m.start(), m[1]) for m in re.finditer(r"\]\(([^)#\s:{]+)(?:#[^)]*)?\)", text)]
        for m in re.finditer(r"`([\w.*-]+(?:/[\w.*-]+)+/?)`", text):
            if m[1].split("/")[0] in FOLDERS:
                named.append((m.start(), m[1]))
        for at, path in named:
            if not is_there(path.rstrip("/"), document):
                missing.append(f"{document.relative_to(ROOT)}:{text.count(chr(10), 0, at) + 1}: {path} is not there")
    print("\n".join(missing) or f"{len(documents)} documents name nothing that is gone")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""check-layout.py: the library graph and the folders' boundaries as the README draws them.

  check-layout.py includes ROOT   no #include and no public include path crosses into a src/
                                  folder of another subsystem; a folder's own src/ stays private
  check-layout.py graph DOTFILE   the targets of `cmake --graphviz` form no cycle

Prints each finding and exits 1 when there is one; a check that finds nothing to look at fails
as well, so that it never passes by looking at nothing.
"""
import pathlib
import re
import sys

SOURCE_SUFFIXES = {".cpp", ".h"}
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)
INCLUDE_DIRECTORIES = re.compile(r"target_include_directories\s*\(([^)]*)\)", re.DOTALL)
EDGE = re.compile(r'"(node\d+)"\s*->\s*"(node\d+)"')
NODE = re.compile(r'"(node\d+)"\s*\[\s*label\s*=\s*"([^"]*)"')


def tracked_files(root, pattern):
    return [p for p in root.rglob(pattern)
            if "build" not in p.relative_to(root).parts[:1] and ".git" not in p.parts]


def check_includes(root):
    findings = []
    sources = [p for p in tracked_files(root, "*") if p.suffix in SOURCE_SUFFIXES]
    for path in sources:
        for name in INCLUDE.findall(path.read_text(errors="replace")):
            if ".." in pathlib.PurePosixPath(name).parts or "src" in pathlib.PurePosixPath(name).parts:
                findings.append(f"{path.relative_to(root)}: #include \"{name}\" reaches into a src/ "
                                f"folder or up the tree")
    lists = tracked_files(root, "CMakeLists.txt")
    for path in lists:
        for arguments in INCLUDE_DIRECTORIES.findall(path.read_text()):
            words = arguments.split()
            scope = None
            for word in words[1:]:
                if word in ("PUBLIC", "PRIVATE", "INTERFACE", "BEFORE", "SYSTEM", "AFTER"):
                    scope = word if word in ("PUBLIC", "PRIVATE", "INTERFACE") else scope
                    continue
                crosses = ".." in word or "SOURCE_DIR" in word
                if "src" in pathlib.PurePosixPath(word).parts and (scope != "PRIVATE" or crosses):
                    findings.append(f"{path.relative_to(root)}: include path {word} ({scope}) "
                                    f"opens a src/ folder to others")
    if not sources or not lists:
        findings.append(f"{root}: no sources or no CMakeLists.txt to check")
    return findings


def find_cycle(edges):
    """A cycle as a list of nodes, or None."""
    state = {}
    stack = []

    def visit(node):
        state[node] = "open"
        stack.append(node)
        for target in edges.get(node, ()):
            if state.get(target) == "open":
                return stack[stack.index(target):] + [target]
            if target not in state:
                cycle = visit(target)
                if cycle:
                    return cycle
        stack.pop()
        state[node] = "done"
        return None

    for node in list(edges):
        if node not in state:
            cycle = visit(node)
            if cycle:
                return cycle
    return None


def check_graph(dot_file):
    text = pathlib.Path(dot_file).read_text()
    labels = dict(NODE.findall(text))
    edges = {}
    for source, target in EDGE.findall(text):
        edges.setdefault(source, set()).add(target)
    if not labels or not edges:
        return [f"{dot_file}: no targets or no links in the graph"]
    cycle = find_cycle(edges)
    if cycle:
        return ["the library graph has a cycle: " + " -> ".join(labels.get(n, n) for n in cycle)]
    return []


def main(arguments):
    if len(arguments) != 2 or arguments[0] not in ("includes", "graph"):
        print(__doc__, file=sys.stderr)
        return 2
    command, target = arguments
    if command == "includes":
        findings = check_includes(pathlib.Path(target).resolve())
    else:
        findings = check_graph(target)
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

#!/usr/bin/env -S python3 -B
"""Checks the links of the documentation.

links.py PROJECT        every link in a Markdown file leads to a file, folder, heading or line that exists
links.py --site FOLDER  the same in the pages of a site, which also load nothing from another host
"""

import html.parser
import os
import re
import sys
import urllib.parse

FENCE = re.compile(r"^ {0,3}(```+|~~~+).*?^ {0,3}\1[`~]*\s*$", re.M | re.S)
INDENTED = re.compile(r"(?:\A|(?<=\n\n))(?: {4}.*\n|\n(?= {4}))+")
CODE = re.compile(r"(`+)(?!`).+?(?<!`)\1(?!`)", re.S)
HEADING = re.compile(r"^ {0,3}#{1,6}\s+(.*?)\s*#*\s*$", re.M)
LINK = re.compile(r"\]\(\s*<?([^()\s<>]*)|^ {0,3}\[[^\]]+\]: *(\S+)(?: +[\"'(].*)?$|\b(?:src|href|srcset)=\"([^\"]+)\"", re.M)
ANCHOR = re.compile(r"<\w+[^>]*\b(?:id|name)=\"([^\"]+)\"")
LINES = re.compile(r"L(\d+)(?:-L(\d+))?")


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def blanked(pattern, text):
    return pattern.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), text)


def slug(heading):
    """The name that GitHub gives a heading."""
    text = re.sub(r"!?\[([^\]]*)\]\([^)]*\)", r"\1", heading)
    return re.sub(r"[^\w\- ]", "", text.replace("*", "").lower()).replace(" ", "-")


def markdown_anchors(text):
    text = blanked(FENCE, text)
    names, count = set(ANCHOR.findall(text)), {}
    for heading in HEADING.findall(text):
        name = slug(heading)
        names.add(f"{name}-{count[name]}" if name in count else name)
        count[name] = count.get(name, 0) + 1
    return names


def markdown_targets(text):
    """Where in the text each target of a link starts, and the target; not those within code."""
    for pattern in FENCE, INDENTED, CODE:
        text = blanked(pattern, text)
    for match in LINK.finditer(text):
        group = match.lastindex
        yield match.start(group), match[group]


def markdown_files(project):
    for folder, folders, files in os.walk(project):
        if folder == project:
            folders[:] = [name for name in folders if not name.startswith("build")]
        folders[:] = sorted(name for name in folders if name != "node_modules" and not name.startswith(".git"))
        yield from (os.path.join(folder, name) for name in sorted(files) if name.endswith(".md"))


def is_remote(target):
    return re.match(r"[a-z][a-z0-9+.-]*:|//", target, re.I) is not None


def wrong_with(page, target, root, anchors):
    """What is wrong with a link of a page; None when it is good."""
    path, _, fragment = target.partition("#")
    there = os.path.normpath(os.path.join(os.path.dirname(page), urllib.parse.unquote(path.split("?")[0]))) if path else page
    if not os.path.exists(there):
        return "there is no such file"
    if not os.path.realpath(there).startswith(os.path.realpath(root)):
        return "leads out of the project"
    lines = LINES.fullmatch(fragment)
    if lines and not there.endswith((".md", ".html")):
        last, count = int(lines[2] or lines[1]), read(there).count("\n")
        return f"has {count} lines only" if last > count else None
    if fragment and (os.path.isdir(there) or urllib.parse.unquote(fragment) not in anchors(there)):
        return "has no such heading"
    return None


def check_markdown(project):
    known = {}

    def anchors(path):
        if path not in known:
            known[path] = markdown_anchors(read(path)) if path.endswith(".md") else set()
        return known[path]

    count, complaints = 0, []
    for page in markdown_files(project):
        text = read(page)
        for start, target in markdown_targets(text):
            count += 1
            wrong = None if is_remote(target) else wrong_with(page, target, project, anchors) if target else "leads nowhere"
            if wrong:
                line = text.count("\n", 0, start) + 1
                complaints.append(f"{os.path.relpath(page, project)}:{line}: {target}: {wrong}")
    return count, complaints


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.anchors, self.links, self.loads = set(), [], []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("id", "name") and value:
                self.anchors.add(value)
            elif name in ("href", "src") and value is not None:
                (self.links if tag == "a" else self.loads).append(value)


def check_site(site):
    pages, complaints, count = {}, [], 0

    def page_of(path):
        if path not in pages:
            pages[path] = Page(read(path))
        return pages[path]

    def anchors(path):
        return page_of(path).anchors if path.endswith(".html") else set()

    for folder, _, files in os.walk(site):
        for name in sorted(files):
            path = os.path.join(folder, name)
            if name.endswith(".css"):
                loads = re.findall(r"url\(\s*['\"]?(https?:[^)'\"]+)", read(path))
                complaints += [f"{os.path.relpath(path, site)}: {load}: is on another host" for load in loads]
            if not name.endswith(".html"):
                continue
            page = page_of(path)
            for target in page.links + page.loads:
                count += 1
                wrong = None
                if is_remote(target):
                    if target in page.loads and not target.startswith("data:"):
                        wrong = "is on another host"
                elif target in page.loads and target.endswith(".html"):
                    wrong = "is a page, not a picture"
                elif target not in ("", ".", "#"):
                    wrong = wrong_with(path, target, site, anchors)
                if wrong:
                    complaints.append(f"{os.path.relpath(path, site)}: {target}: {wrong}")
    return count, complaints


def main():
    if len(sys.argv) == 2 and not sys.argv[1].startswith("-"):
        count, complaints = check_markdown(os.path.abspath(sys.argv[1]))
    elif len(sys.argv) == 3 and sys.argv[1] == "--site":
        count, complaints = check_site(os.path.abspath(sys.argv[2]))
    else:
        sys.exit(__doc__)
    for complaint in complaints:
        print(complaint, file=sys.stderr)
    print(f"{count} links, {len(complaints)} broken")
    sys.exit(1 if complaints or count == 0 else 0)


if __name__ == "__main__":
    main()

#!/usr/bin/env -S python3 -B
"""Lays the documentation out for the site: layout.py PROJECT DRAWN FOLDER writes all that mkdocs needs into FOLDER.

The Markdown files are written for readers of the repository. On the site the README is the front page, and a source
file that a page leads to is a page too, so that nothing is fetched from elsewhere. A file in DRAWN, which was made for
the site, is taken instead of the project's file of that name.
"""

import os
import shutil
import sys

import links

# The order of the pages; what is in docs/ and not here stands at the end of INSIDE.
USE = ["docs/integration.md", "docs/deployment.md", "docs/table.md", "docs/tuning.md", "docs/accuracy.md",
       "docs/recordings.md", "docs/qv6d.md", "docs/json.md"]
INSIDE = ["docs/algorithm.md", "docs/architecture.md", "docs/file-formats.md", "docs/same-bits.md",
          "docs/performance.md", "docs/soak.md"]
PROJECT = ["CONTRIBUTING.md", "CHANGELOG.md", "SECURITY.md"]

AS_IT_IS = (".svg", ".png", ".csv")
KATEX = "/usr/share/javascript/katex"

LANGUAGES = {".c": "c", ".h": "c++", ".cpp": "c++", ".def": "c++", ".py": "python", ".sh": "bash", ".cmake": "cmake",
             ".json": "json", ".mjs": "javascript", ".map": "text", "run": "bash", "CMakeLists.txt": "cmake"}


class Site:
    def __init__(self, project, drawn, pages):
        self.project, self.drawn, self.pages = project, drawn, pages
        self.placed = {"README.md": "index.md"}  # file of the project: page of the site
        self.waiting = []

    def place(self, file):
        """The page of a file, which is laid out if it was not yet."""
        if file not in self.placed:
            self.placed[file] = self.page_name(file)
            self.waiting.append(file)
        return self.placed[file]

    def page_name(self, file):
        if file.endswith(".md"):
            return file.removeprefix("docs/").lower()
        if file.endswith(AS_IT_IS):
            return file.removeprefix("docs/")
        return f"source/{file}.md"

    def write(self, page, text):
        path = os.path.join(self.pages, page)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as out:
            out.write(text)

    def found(self, file):
        drawn = os.path.join(self.drawn, file)
        return drawn if os.path.exists(drawn) else os.path.join(self.project, file)

    def lay_out(self, file):
        path, page = self.found(file), self.placed[file]
        if page.endswith(AS_IT_IS):
            os.makedirs(os.path.dirname(os.path.join(self.pages, page)), exist_ok=True)
            shutil.copyfile(path, os.path.join(self.pages, page))
        elif file.endswith(".md"):
            self.write(page, self.relinked(file, links.read(path)))
        elif os.path.isdir(path):
            self.write(page, source_page(file, "text", "\n".join(sorted(os.listdir(path)))))
        else:
            name = os.path.basename(file)
            language = LANGUAGES.get(os.path.splitext(name)[1] or name, LANGUAGES.get(name, "text"))
            self.write(page, source_page(file, language, links.read(path)))

    def relinked(self, file, text):
        """The text with its links leading to the pages of the site."""
        text = numbered(text)
        out, end = [], 0
        for start, target in links.markdown_targets(text):
            if not target or target.startswith("#") or links.is_remote(target):
                continue
            out += [text[end:start], self.moved(file, target)]
            end = start + len(target)
        return "".join(out) + text[end:]

    def moved(self, file, target):
        path, hash_, fragment = target.partition("#")
        there = os.path.normpath(os.path.join(os.path.dirname(file), path))
        page = self.place(there)
        line = links.LINES.fullmatch(fragment)
        if line and page.startswith("source/"):
            fragment = f"__codelineno-0-{line[1]}"
        return os.path.relpath(page, os.path.dirname(self.placed[file]) or ".") + hash_ + fragment


def numbered(text):
    """Headings that are there twice get the name that GitHub gives them; the generator's would be another."""
    out, end, count = [], 0, {}
    for match in links.HEADING.finditer(links.blanked(links.FENCE, text)):
        name = links.slug(match[1])
        count[name] = count.get(name, 0) + 1
        if count[name] > 1:
            out += [text[end:match.end(1)], f" {{ #{name}-{count[name] - 1} }}"]
            end = match.end(1)
    return "".join(out) + text[end:]


def source_page(file, language, text):
    fence = "`" * 8
    return (f"# {file}\n\n{fence}{{ .{language} linenums=\"1\" }}\n{text.rstrip()}\n{fence}\n")


def title(project, file):
    heading = links.HEADING.search(links.read(os.path.join(project, file)))
    return heading[1].replace("`", "") if heading else file


def navigation(project, site):
    found = sorted(f"docs/{name}" for name in os.listdir(os.path.join(project, "docs")) if name.endswith(".md"))
    inside = INSIDE + [file for file in found if file not in USE + INSIDE]
    lines = ["  - Overview: index.md"]
    for name, files in ("Use", USE), ("Inside", inside), ("Project", PROJECT):
        there = [file for file in files if os.path.exists(os.path.join(project, file))]
        lines += [f"  - {name}:"] if there else []
        lines += [f"    - \"{title(project, file)}\": {site.place(file)}" for file in there]
    return "\n".join(lines) + "\n"


def main():
    project, drawn, folder = map(os.path.abspath, sys.argv[1:])
    pages = os.path.join(folder, "pages")
    shutil.rmtree(folder, ignore_errors=True)
    site = Site(project, drawn, pages)
    site.waiting.append("README.md")
    config = links.read(os.path.join(project, "scripts/docs/mkdocs.yml")) + "\nnav:\n" + navigation(project, site)
    while site.waiting:
        site.lay_out(site.waiting.pop())
    os.makedirs(os.path.join(pages, "site"))
    for name in "site.css", "site.js":
        shutil.copy(os.path.join(project, "scripts/docs", name), os.path.join(pages, "site"))
    shutil.copy(os.path.join(project, "scripts/docs/hooks.py"), folder)
    shutil.copytree(os.path.join(project, "scripts/docs/theme"), os.path.join(folder, "theme"))
    shutil.copytree(KATEX, os.path.join(pages, "site/katex"),
                    ignore=shutil.ignore_patterns("contrib", "*.mjs", "katex.js", "katex.css", "*.ttf", "*.woff"))
    with open(os.path.join(folder, "mkdocs.yml"), "w", encoding="utf-8") as out:
        out.write(config)


main()

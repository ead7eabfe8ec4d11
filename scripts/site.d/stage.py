"""Lays the pages of the site out as mkdocs takes them.

    stage.py FOLDER

Pages keep their paths, so links between them hold as they stand. A link to a source becomes one to a
page with its text, a link to a folder one to a page that lists its files. A link to nothing is an error.
"""

import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]

# What the menu names, in its order; other pages of docs/ follow under their own titles.
MENU = {
    "Use": [
        "README.md",
        "docs/recipes.md",
        "bindings/python/README.md",
        "docs/windows.md",
        "docs/logging.md",
    ],
    "Develop": [
        "CONTRIBUTING.md",
        "docs/architecture.md",
        "docs/versioning.md",
        "CHANGELOG.md",
    ],
}
PICTURES = {".svg", ".png"}
LANGUAGES = {".h": "c", ".c": "c", ".hpp": "cpp", ".cpp": "cpp", ".py": "python", ".sh": "bash"}

LINK = re.compile(r"(!?\[[^\]]*\]\()([^)\s#]+)(#[^)\s]*)?\)")
FENCE = re.compile(r"(```|~~~).*?^\1", re.MULTILINE | re.DOTALL)


class Site:
    def __init__(self, folder):
        self.pages = pathlib.Path(folder) / "pages"
        self.listed = [page for group in MENU.values() for page in group]
        self.listed += sorted(str(page.relative_to(ROOT)) for page in ROOT.glob("docs/*.md"))
        self.listed = list(dict.fromkeys(self.listed))
        self.faults = []

    def write(self, path, text):
        file = self.pages / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)

    def stage_link(self, page, target):
        """Stages what `page` links to and returns the link as the site has it."""
        path = (ROOT / page).parent.joinpath(target).resolve()
        if not path.is_relative_to(ROOT) or not path.exists():
            self.faults.append(f"{page}: nothing is at {target}")
            return target
        name = str(path.relative_to(ROOT))
        if name in self.listed:
            return target
        if path.suffix in PICTURES:
            (self.pages / name).parent.mkdir(parents=True, exist_ok=True)
            (self.pages / name).write_bytes(path.read_bytes())
            return target
        if path.is_file():
            language = LANGUAGES.get(path.suffix, "")
            self.write(f"{name}.md", f"# {name}\n\n~~~~{language}\n{path.read_text()}~~~~\n")
            return f"{target}.md"
        if f"{name}/README.md" in self.listed:
            return f"{target.rstrip('/')}/README.md"
        files = sorted(file.name for file in path.iterdir() if file.is_file())
        for file in files:
            self.stage_link(f"{name}/index.md", file)
        links = "".join(f"- [{file}]({file}.md)\n" for file in files)
        self.write(f"{name}/index.md", f"# {name}\n\n{links}")
        return f"{target.rstrip('/')}/index.md"

    def stage_text(self, page, text):
        def link(match):
            head, target, anchor = match.groups()
            if re.match(r"[a-z]+:", target):
                return match[0]
            return f"{head}{self.stage_link(page, target)}{anchor or ''})"

        # Code has brackets of its own.
        done, out = 0, []
        for fence in FENCE.finditer(text):
            out += [LINK.sub(link, text[done : fence.start()]), fence[0]]
            done = fence.end()
        return "".join(out) + LINK.sub(link, text[done:])

    def stage(self):
        for page in self.listed:
            self.write(page, self.stage_text(page, (ROOT / page).read_text()))
        self.write("site.css", (ROOT / "scripts/site.d/site.css").read_text())
        settings = (ROOT / "scripts/site.d/mkdocs.yml").read_text()
        named = {page for group in MENU.values() for page in group}
        menu = [{title: pages} for title, pages in MENU.items()]
        menu += [page for page in self.listed if page not in named]
        (self.pages.parent / "mkdocs.yml").write_text(f"{settings}nav: {json.dumps(menu)}\n")
        return self.faults


sys.exit("\n".join(Site(sys.argv[1]).stage()) or None)

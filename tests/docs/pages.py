#!/usr/bin/python3 -B
"""Usage: pages.py programs FOLDER PAGE ...  writes the sources of the programs of all these pages into the folder
       pages.py links PAGE ...            finds links and anchors that lead nowhere
       pages.py session PAGE              prints a shell script that follows the page, block by block
       pages.py readme-program            prints the program that README.md begins with, for the broker that the
                                          environment names

Reads Markdown, for these and for check-page: blocks, for which CONTRIBUTING.md has the rules, headings and links. A
page goes by its path from the root of the tree.
"""
import os
import re
import shlex
import subprocess
import sys
from collections import defaultdict
from dataclasses import dataclass, field
from pathlib import Path
from urllib.parse import unquote, urlsplit

from markdown_it import MarkdownIt
from markdown_it.token import Token

ROOT = Path(__file__).resolve().parents[2]
HIDDEN = re.compile(r"<!-- cpp\n((?:.*\n)*)-->")
END = re.compile(r"[\s>]*```+\s*")
MARK = re.compile(r"<!-- (?:(snippets): ([a-z-]+)|(run by|compared by): (\S+)|(by hand): (.+)) -->")
COMMANDS = ("", "run by", "by hand")
MAY_HAVE = {"cpp": ("",), "cmake": COMMANDS, "sh": COMMANDS, "text": ("", "compared by")}
PROGRAM = """#include <amqp/Amqp.hpp>
#include <iostream>
#include <map>
#include <string_view>
{includes}using namespace std::chrono_literals;
{functions}
int main(int, char** arguments)
{{
    const std::map<std::string_view, int (*)()> units = {{{units}}};
    return units.at(arguments[1])();
}}
"""


@dataclass
class Block:
    line: int  # that of its fence
    language: str  # that of the fence; or hidden, which is cpp; or error, whose text says what is wrong in the line
    text: str
    lead: str = ""  # the paragraph before it
    mark: str = ""  # what the comment before it says is done with it, and by what or why
    by: str = ""
    unit: str = ""  # of cpp, hidden or not: the program, or the function in a program, that it is a part of
    program: str = ""
    prints: list[str] = field(default_factory=list)


def parse(page: str) -> list[Token]:
    return MarkdownIt("commonmark").enable("table").parse((ROOT / page).read_text(encoding="utf-8"))


def read_blocks(page: str) -> list[Block]:
    """Returns the blocks; a text only if something else than a block before it prints it."""
    lines = (ROOT / page).read_text(encoding="utf-8").splitlines()
    stem = re.sub(r"\W", "_", page.removesuffix(".md"))
    group, lead, mark, line = f"{stem}_snippets", "", ("", ""), 0
    blocks: list[Block] = []
    for token in [*parse(page), Token("end", "", 0)]:
        error = ""
        if mark[0] and token.type != "fence":
            blocks.append(Block(line, "error", "no block follows the comment"))
            mark = "", ""
        line = token.map[0] + 1 if token.map else line
        if token.type == "inline":
            lead = token.content
            error = "".join(f"HTML in a text: {part.content}" for part in token.children if part.type == "html_inline")
        elif token.type == "code_block":
            error = "indented code, which nothing looks at: give it a fence"
        elif token.type == "html_block":
            comment = token.content.rstrip("\n")
            if match := HIDDEN.fullmatch(comment):
                blocks.append(Block(line, "hidden", match[1], unit=group))
            elif not (match := MARK.fullmatch(comment)):
                error = f"a comment of no known form: {comment.splitlines()[0]}"
            elif match[1]:
                group = f"{stem}_snippets_{match[2].replace('-', '_')}"
            else:
                mark = tuple(filter(None, match.groups()))
        elif token.type == "fence":
            block = Block(line, token.info, token.content, lead, *mark, unit=group if token.info == "cpp" else "")
            lead, mark = "", ("", "")
            if token.markup != "```" or block.language not in MAY_HAVE:
                error = f'the fence "{token.markup}{token.info}"; there are cpp, cmake, sh and text'
            elif not END.fullmatch(lines[token.map[1] - 1]):
                error = "a block without an end"
            elif block.mark not in MAY_HAVE[block.language]:
                error = "sh and cmake may run elsewhere, text may be compared, and nothing else"
            elif block.language == "text" and not block.mark:
                error = give_to_printer(block, blocks)
            else:
                if block.language == "cpp" and re.search(r"^int main\(", block.text, re.MULTILINE):
                    block.unit = block.program = f"{stem}_program{sum(bool(one.program) for one in blocks) + 1}"
                blocks.append(block)
        if error:
            blocks.append(Block(line, "error", error))
    # What shows rabbitmq-c is compiled apart, so that nothing else has its headers.
    apart = {block.unit for block in blocks if "#include <amqp.h>" in block.text}
    for block in blocks:
        block.program = block.program or ("snippets_with_rabbitmq_c" if block.unit in apart else "snippets")
    return blocks


def give_to_printer(text: Block, blocks: list[Block]) -> str:
    """Gives the text to the block before it that prints it. Returns what is wrong if there is none."""
    printer = next((block for block in reversed(blocks) if block.language in ("cpp", "cmake", "sh")), None)
    if printer is None or printer.language == "cmake":
        return "text that no block before it prints"
    if printer.mark == "by hand":
        return "what is not run prints nothing that could be compared"
    if printer.mark:
        text.mark, text.by = "compared by", printer.by
        blocks.append(text)
    else:
        printer.prints.append(text.text)
    return ""


def write_programs(target: str, *names: str) -> None:
    """A block with main is a program. The others are functions of one that all pages share, and its argument picks one
    of them. What the compiler finds wrong is said with page and line. Sources that stay the same are left alone, so
    that nothing is compiled anew."""
    sources: dict[str, str] = {}
    includes: dict[str, str] = defaultdict(str)
    units: dict[str, dict[str, str]] = defaultdict(lambda: defaultdict(str))
    for page in names:
        for block in (one for one in read_blocks(page) if one.language in ("cpp", "hidden")):
            mark = '#line {} "' + str(ROOT / page) + '"\n'
            code = [mark.format(block.line + 1), *block.text.splitlines(keepends=True)]
            if block.unit == block.program:
                sources[block.program] = "".join(code)
                continue
            for number, line in enumerate(code):
                if line.startswith("#include "):
                    includes[block.program] += mark.format(block.line + number) + line
                    code[number] = "\n"
            units[block.program][block.unit] += "".join(code)
    for program, bodies in units.items():
        functions = "".join(f"\nstatic int {unit}()\n{{\n{body}return 0;\n}}\n" for unit, body in bodies.items())
        table = ", ".join(f'{{"{unit}", {unit}}}' for unit in bodies)
        sources[program] = PROGRAM.format(includes=includes[program], functions=functions, units=table)

    folder = Path(target)
    folder.mkdir(parents=True, exist_ok=True)
    for file in folder.glob("*.cpp"):
        if sources.get(file.stem) == file.read_text(encoding="utf-8"):
            del sources[file.stem]
        else:
            file.unlink()
    for program, source in sources.items():
        (folder / f"{program}.cpp").write_text(source, encoding="utf-8")


def anchors(page: str) -> set[str]:
    """The names of the headings, as code hosts make them."""
    tokens = parse(page)
    headings = [after.children for token, after in zip(tokens, tokens[1:]) if token.type == "heading_open"]
    texts = ["".join(part.content for part in heading if part.type in ("text", "code_inline")) for heading in headings]
    names = [re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-") for text in texts]
    return {f"{name}-{names[:i].count(name)}" if name in names[:i] else name for i, name in enumerate(names)}


def check_links(*names: str) -> None:
    listed = subprocess.run(["git", "ls-files"], cwd=ROOT, check=True, capture_output=True, text=True)
    files = set(listed.stdout.splitlines())
    files.update([str(folder) for file in files for folder in Path(file).parents])
    line = found = bad = 0
    for page in names:
        for token in parse(page):
            line = token.map[0] + 1 if token.map else line
            for part in token.children or []:
                line += part.type in ("softbreak", "hardbreak")
                target = part.attrGet("href") or part.attrGet("src")
                if target is None or urlsplit(target).scheme:
                    continue
                url = urlsplit(target)
                path = os.path.normpath(os.path.join(os.path.dirname(page), unquote(url.path))) if url.path else page
                found += 1
                if path not in files or url.fragment and not (path.endswith(".md") and url.fragment in anchors(path)):
                    print(f"{page}:{line}: leads nowhere: {target}", file=sys.stderr)
                    bad += 1
    sys.exit(bad > 0 or found == 0)


def print_session(page: str) -> None:
    """One shell runs all commands. Code goes to the file that the paragraph before it names in its end."""
    blocks = read_blocks(page)
    if not any(block.language == "sh" for block in blocks):
        sys.exit(f"{page}: no commands")
    print(f"set -euo pipefail\necho 'following {page}: {len(blocks)} blocks'")
    for block in blocks:
        name = re.search(r"`([^`]+)`:$", block.lead)
        if block.language == "sh":
            output = f"/tmp/line-{block.line}.out"
            print(f"{{\n{block.text}}} >{output}")
            for text in block.prints:
                print(f"printf %s {shlex.quote(text)} | diff - {output}\necho 'as the page says: {output}'")
        elif block.language == "text":
            print(f"printf %s {shlex.quote(block.text)} | diff - {output}\necho 'as the page says: {output}'")
        elif block.language in ("cpp", "cmake") and name:
            print(f"printf %s {shlex.quote(block.text)} >{name[1]}")
        else:
            sys.exit(f"{page}:{block.line}: no commands, nothing that they print, and no file: {block.text[:70]}")


def print_readme_program() -> None:
    connects = '"127.0.0.1", 5672, "guest", "guest", "/"'
    program = next(block.text for block in read_blocks("README.md") if block.language == "cpp")
    if connects not in program:
        sys.exit("README.md does not begin with a program that connects")
    other = '"{AMQP_HOST}", {AMQP_PORT}, "{AMQP_USER}", "{AMQP_PASSWORD}", "{AMQP_VHOST}"'.format_map(os.environ)
    print(program.replace(connects, other), end="")


if __name__ == "__main__":
    commands = {"programs": write_programs, "links": check_links, "session": print_session,
                "readme-program": print_readme_program}
    if len(sys.argv) < 2 or sys.argv[1] not in commands:
        sys.exit(__doc__)
    commands[sys.argv[1]](*sys.argv[2:])

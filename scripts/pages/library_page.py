"""Makes the manual page zevra(3) out of the public header, so that both say the same.

    library_page.py ZEVRA.h VERSION PAGE

A declaration that has no comment, or a comment of a shape that is not known here, is an error.
"""

import pathlib
import re
import sys

LABEL = re.compile(r"^([A-Za-z_]+): +")


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    text = re.sub(r"`([^`]+)`", r"\\fB\1\\fR", text)
    text = re.sub(r"\b((?:Zevra|ZEVRA_)\w+)", r"\\fB\1\\fR", text)
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.M)


def comment_lines(comment):
    """The lines of a comment without its marks."""
    body = re.sub(r"^/\*+|\*/$", "", comment.strip())
    return [re.sub(r"^ \* ?", "", line) for line in body.split("\n")]


def prose(lines, code=""):
    """Paragraphs, programs that are indented, and entries such as "format: copied" of parameters."""
    labels = {"Result", "Results", "Thread"} | set(re.findall(r"\w+", code))
    out, program = [], False
    for before, line in zip([""] + lines, lines):
        if line.startswith("    ") and (program or not before):
            if not program:
                out += [".PP", ".EX"]
            program = True
            out.append(line.replace("\\", "\\e"))
            continue
        if program and not line.strip():
            out.append("")
            continue
        if program:
            out.append(".EE")
            program = False
        label = LABEL.match(line)
        if not line.strip():
            out.append(".PP")
        elif label and label[1] in labels:
            out += [".TP", f"\\fI{label[1]}\\fR", roff(line[label.end() :].strip())]
        else:
            out.append(roff(line.strip()))
    return out + ([".EE"] if program else [])


def parts(header):
    """Pairs of a comment and the declarations that follow it."""
    header = header.split("#ifndef ZEVRA_ZEVRA_H", 1)[1].replace("ZEVRA_API ", "")
    found = re.findall(r"^(/\*.*?\*/)\n(.*?)(?=^/\*|\Z)", header, flags=re.M | re.S)
    return [(comment_lines(comment), code.strip()) for comment, code in found]


def functions_in(code):
    return re.findall(r"^int32_t (Zevra\w+)\(", code, flags=re.M)


def synopsis(code):
    return [".EX", code.replace("\\", "\\e"), ".EE"]


def constants(code):
    """Each name with the comment beside it or over it."""
    out = []
    for name, value, remark in re.findall(r"^#define (ZEVRA_\w+) (\w+)(?: *\/\* (.*?) \*\/)?$", code, flags=re.M):
        out += [".TP", f"\\fB{name}\\fR", f"{value.rstrip('u')}{': ' if remark else ''}{roff(remark)}"]
    return out


def page(header, version):
    found = parts(header)
    names = [name for _, code in found for name in functions_in(code)]
    declared = re.findall(r"^ZEVRA_API int32_t (\w+)\(", header, flags=re.M)
    if names != declared or len(names) != len(set(names)):
        sys.exit(f"library_page: {set(declared) ^ set(names)} are without a comment of their own")
    introduction, results, values, types, functions = found[0][0], [], [], [], []
    in_results = False
    for comment, code in found[1:]:
        text = " ".join(line.strip() for line in comment).strip()
        in_results = text == "Results." or (in_results and "((int32_t)" in code)
        if functions_in(code):
            heading = ", ".join(functions_in(code))
            functions += [f".SS {heading}"] + synopsis(code.split("\n#ifdef")[0].strip()) + [".PP"]
            functions += prose(comment[1:], code)
        elif in_results:
            for name in re.findall(r"^#define (ZEVRA_\w+)", code, flags=re.M):
                results += [".TP", f"\\fB{name}\\fR"]
                results.append("Success." if text == "Results." else roff(text))
        elif code.startswith("#define ZEVRA_") and constants(code):
            values += [".PP", roff(text)] + constants(code)
        elif code.startswith("typedef"):
            declaration = code.split("\n\n#if")[0].split("\n#define")[0].strip()
            name = re.search(r"(?:\(\*|\b)(Zevra[A-Za-z]+)(?:\)\(.*|);$", declaration, flags=re.S)[1]
            types.append(f".SS {name}")
            types += synopsis(declaration) + [".PP"] + prose(comment, declaration)
    lines = [f'.TH ZEVRA 3 "" "zevra {version}" "Library Functions Manual"', ".SH NAME"]
    lines += [", ".join(["zevra"] + names) + " \\- a tap on the machine's audio", ".SH LIBRARY"]
    lines += ["libzevra (\\fI\\-lzevra\\fR)", ".SH SYNOPSIS", ".B #include <zevra/zevra.h>"]
    lines += [".SH DESCRIPTION"] + prose(introduction[introduction.index("") + 1 :])
    for heading, body in (("RESULTS", results), ("VALUES", values), ("TYPES", types), ("FUNCTIONS", functions)):
        if not body:
            sys.exit(f"library_page: the header gives nothing for {heading}")
        lines += [f".SH {heading}"] + body
    lines += [".SH SEE ALSO", ".BR zevra (1)"]
    return re.sub(r"\n(?:\.PP\n)+(?=\.(?:PP|TP|SH|SS))", "\n", "\n".join(lines)) + "\n"


def main(header, version, out):
    pathlib.Path(out).write_text(page(pathlib.Path(header).read_text(), version))


main(*sys.argv[1:])

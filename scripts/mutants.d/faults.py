"""Where a fault can stand in a C++ source that clang-format has laid out: a comparison has blanks
on both sides, the brackets of a template have none inside."""
import collections
import re

# Offsets into the file at `path`, and what stands there instead.
Fault = collections.namedtuple("Fault", "path begin end new kind")

NO_CODE = re.compile(
    r'//(?:\\\n|[^\n])*|/\*.*?\*/|^[ \t]*#(?:\\\n|[^\n])*|\bstatic_assert\s*\([^;]*;'
    r"""|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![\da-fA-F])'(?:\\.|[^'\\\n])+'""", re.S | re.M)
CONTROL = re.compile(r"\b(?:else|do|case [^;{]*?[^:]:(?=\s)|default:"
                     r"|(?:if|while|for|switch)[^(;]*\()")
OTHER_STATEMENT = re.compile(
    r"(return|break|continue|goto|using|typedef|throw|const|constexpr|static|auto|co_\w+)\b"
    r"|\(void\)|[;)\]},?.&|=]|(?!delete )[\w:]+(<.*>)?[*&\s]+\w+\s*[=({\[;]", re.S)
RELEASE = re.compile(r"delete\b|.*(release|reset|close|free|unlock|unref|shutdown|uninit|destroy"
                     r"|clear|disconnect|revert|stop|cancel)\w*\([^;]*\);$", re.S | re.I)
COMPARISON = re.compile(r"(?<=\s)(==|!=|<=?|>=?)(?=\s)")
OPPOSITE = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">"}
CONDITION = re.compile(r"\b(?:if|while) \(")
CONSTANT = re.compile(r"(?<![\w.'<])(0[xX][\da-fA-F']+|\d[\d']*(?:\.\d+)?|true|false)([uUlLfF]*)"
                      r"(?![\w.'>])")
# The order is nothing to `min` and `max`.
CALL = re.compile(r"\b(?!(?:if|for|while|switch|return|catch|sizeof|min|max)\b)\w+"
                  r"(?:<[^<>();]*>)?\(")


def code_of(text):
    """The text with all offsets kept, but blank where it is no code; a literal is one string."""
    def blank(match):
        if match[0][-1] in "\"'" and match[0][0] in "R\"'":
            return '"' + "_" * (len(match[0]) - 2) + '"'
        return re.sub(r"[^\n]", " ", match[0])
    return NO_CODE.sub(blank, text)


def closing(code, opening):
    """Where the bracket at `opening` is closed."""
    depth = 0
    for match in re.compile(r"[][(){}]").finditer(code, opening):
        depth += 1 if match[0] in "([{" else -1
        if depth == 0:
            return match.start()
    return len(code)


def function_bodies(code):
    """Yields each function's head, and the begin and end of its body."""
    head = at = 0
    while match := re.compile("[{};]").search(code, at):
        at = match.end()
        if match[0] == "{" and "(" in code[head:at]:
            at = closing(code, match.start())
            yield code[head:match.start()], match.end(), at
        head = at


def statements(code, begin, end):
    """Yields begin, end and "in a block" of each simple statement, without the `if` before it."""
    plain, at = code, begin
    while match := CONTROL.search(plain, at, end):
        at = closing(code, match.end() - 1) + 1 if match[0].endswith("(") else match.end()
        plain = plain[:match.start()] + " " * (at - match.start()) + plain[at:]
    for match in re.compile(r"\s*([^;{}]+;)").finditer(plain, begin, end):
        yield match.start(1), match.end(), not code[match.start():match.start(1)].strip()


def early_returns(head):
    """What suits the type before the function's name."""
    words = re.findall(r"[A-Za-z]\w+", re.sub(r"[\w:~]+\s*$", "", head.partition("(")[0]))
    if "HRESULT" in words:
        return ["return S_OK;", "return E_FAIL;"]
    return ["return;"] if not words or words[-1] == "void" else ["return {};"]


def statement_faults(text, code, head, begin, end):
    for first, last, in_block in statements(code, begin, end):
        # Where the function returns the same anyway there is no fault.
        same = re.sub(r"return (0|nullptr|false);", "return {};", code[first:last])
        if in_block and code[first] not in ");,":
            yield from ((first, first, f"{early} ", "return") for early in early_returns(head)
                        if early != same)
        if not OTHER_STATEMENT.match(code[first:last]):
            yield first, last, "{}", "release" if RELEASE.match(code[first:last]) else "drop"


def condition_faults(text, code, head, begin, end):
    for match in COMPARISON.finditer(code, begin, end):
        yield *match.span(), OPPOSITE[match[1]], "compare"
    for match in CONDITION.finditer(code, begin, end):
        first, last = match.end(), closing(code, match.end() - 1)
        # A comparison alone is inverted above, and what declares something cannot be negated.
        if re.search("&&|[|][|]", code[first:last]) or not re.search(
                r";|\s(=|==|!=|<=?|>=?)\s", code[first:last]):
            yield first, last, f"!({text[first:last]})", "negate"


def constant_faults(text, code, head, begin, end):
    for match in CONSTANT.finditer(code, begin, end):
        # A variable's first value stands in its declaration.
        if code[match.end()] == ";" and re.search(r"[\w>*&] \w+ = $", code[begin:match.start()]):
            continue
        old = match[1].replace("'", "")
        new = {"true": "false", "false": "true"}.get(old) or str(
            float(old) + 1 if "." in old else int(old, 16 if "x" in old.lower() else 10) + 1)
        yield *match.span(), new + match[2], "constant"


def arguments(code, opening):
    """The begins and ends of a call's arguments."""
    begin, end = opening + 1, closing(code, opening)
    at = begin
    while match := re.compile(r"[,([{]").search(code, at, end):
        at = match.end()
        if match[0] == ",":
            yield begin, match.start()
            begin = at
        else:
            at = closing(code, match.start()) + 1
    yield begin, end


def swap_faults(text, code, head, begin, end):
    for match in CALL.finditer(code, begin, end):
        spans = list(arguments(code, match.end() - 1))
        for (a, b), (c, d) in zip(spans, spans[1:]):
            left, right = text[a:b].strip(), text[c:d].strip()
            a += text[a:b].index(left)
            # No texts of the log, and no pair that cannot be of one type.
            if left != right and '"' not in code[a:d] and (left[:1] == "&") == (right[:1] == "&"):
                yield a, d, f"{right}, {left}", "swap"


def faults_of(path, text):
    code = code_of(text)
    return [Fault(path, *fault) for body in function_bodies(code)
            for kind in (statement_faults, condition_faults, constant_faults, swap_faults)
            for fault in kind(text, code, *body)]


def shown(fault, text):
    """`PATH:LINE`, and the lines without and with the fault, blanks pressed together."""
    begin, end = text.rfind("\n", 0, fault.begin) + 1, text.find("\n", fault.end)
    old, new = text[begin:end], text[begin:fault.begin] + fault.new + text[fault.end:end]
    line = text.count("\n", 0, fault.begin) + 1
    return f"{fault.path}:{line}", " ".join(old.split()), " ".join(new.split())

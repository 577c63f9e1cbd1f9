"""Single-defect mutants of C++ sources: where a defect can be put, and which one is drawn.

Works on the text alone. Comments, literals of text and preprocessor lines are never touched. What comes out
need not compile: whoever builds a mutant that does not draws another one.
"""

import random
import re
from dataclasses import dataclass

SWAPPED = {
    "relational operator": {
        "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
        "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",),
    },
    "arithmetic operator": {
        "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("/",), "&": ("|",), "|": ("&",),
        "<<": (">>",), ">>": ("<<",), "+=": ("-=",), "-=": ("+=",), "&=": ("|=",), "|=": ("&=",),
        "++": ("--",), "--": ("++",),
    },
}
# Formatted sources have blanks around binary operators, and none inside of template brackets, before a
# pointer's star or after the sign of a number.
BINARY = re.compile(r"(?<=[ \n])(<<|>>|[<>=!]=|[-+&|]=|&&|\|\||[-<>+*/%&|])(?=[ \n])")
STEP = re.compile(r"\+\+|--")
NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9a-fA-F']+|\d[\d']*)([uUlL]*)(?![\w.'])")
BOOLEAN = re.compile(r"(?<!noexcept\()\b(true|false)\b")
CONDITION = re.compile(r"\b(?:if|while) \(")
ASSIGNMENT = re.compile(r"(?<![=!<>])=(?!=)")
RETURN = re.compile(r"\breturn\s+([^;]+);")
LOCK = re.compile(r"(const )?\w*Lock(<.*>)? \w+[({]")
CONTROL = re.compile(r"(?:else\b|do\b|(?:if|while|for|switch)\s*(?:constexpr\s*)?\()")
LABEL = re.compile(r"(?:case\b[^:]*(?:::[^:]*)*:(?!:)|default\s*:|(?:public|private|protected):)")
# Two names in a row, perhaps with "*" or "&" between them.
DECLARATION = re.compile(r"(?:(?:const|static|constexpr|thread_local|mutable|struct|class|enum)\s+)*"
                         r"[A-Za-z_][\w:]*(?:<[^;]*>)?[\s*&]+(?:const\s+)?\w+\s*(?:[=({;\[]|$)")
NO_DECLARATION = re.compile(r"(?:delete|throw|goto|co_\w+)\b")
NEVER_DELETED = re.compile(r"(?:using|typedef|static_assert|return\s|friend|template|auto\b|const auto\b)")
TYPE = re.compile(r"\s*(?:(?:public|private|protected):\s*)*(?:template\s*<.*>\s*)?(?:class|struct|enum|union)\b",
                  re.DOTALL)
TEXT = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<d>[^(\s]*)\(.*?\)(?P=d)"|"(?:\\.|[^"\\\n])*"|'
    r"(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+'|^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", re.DOTALL | re.MULTILINE)


@dataclass(frozen=True)
class Mutant:
    """One defect: text[start:end] of a file becomes `after`."""
    file: str
    start: int
    end: int
    after: str
    operator: str

    def apply(self, text):
        return text[:self.start] + self.after + text[self.end:]

    def line(self, text):
        return text.count("\n", 0, self.start) + 1

    def lines(self, text):
        """What stands in the source now and what would, on one line each."""
        first = text.rfind("\n", 0, self.start) + 1
        last = text.find("\n", self.end)
        last = len(text) if last < 0 else last
        changed = text[first:self.start] + self.after + text[self.end:last]
        return " ".join(text[first:last].split()), " ".join(changed.split())


def code_of(text):
    """The text with blanks for everything that is no code; every offset stays."""
    def blank(match):
        return re.sub(r"[^\n]", " ", match.group())
    return TEXT.sub(blank, text)


def closing(code, opening):
    """Offset of the bracket that closes the one at `opening`; -1 without one."""
    pairs = {"(": ")", "{": "}"}
    depth = 0
    for i in range(opening, len(code)):
        if code[i] == code[opening]:
            depth += 1
        elif code[i] == pairs[code[opening]]:
            depth -= 1
            if depth == 0:
                return i
    return -1


def joins_texts(text, match):
    """Whether a literal of text stands beside this operator: other ones would not compile there."""
    before = text[:match.start()].rstrip()
    after = text[match.end():].lstrip()
    return match.group() == "+" and '"' in (before[-1:], after[:1])


def swapped_operators(code, text):
    for pattern in (BINARY, STEP):
        for match in pattern.finditer(code):
            if joins_texts(text, match):
                continue
            for operator, swaps in SWAPPED.items():
                for after in swaps.get(match.group(), ()):
                    yield match.start(), match.end(), after, operator


def changed_constants(code, _):
    for match in NUMBER.finditer(code):
        digits, suffix = match.groups()
        value = int(digits.replace("'", ""), 16 if digits[:2].lower() == "0x" else 10)
        for other in (value + 1, value - 1):
            if other >= 0:
                yield match.start(), match.end(), f"{other}{suffix}", "constant"
    for match in BOOLEAN.finditer(code):
        yield match.start(), match.end(), "false" if match.group() == "true" else "true", "constant"


def negated_conditions(code, _):
    for match in CONDITION.finditer(code):
        end = closing(code, match.end() - 1)
        start = code.rfind(";", match.end(), end) + 1 or match.end()
        condition = code[start:end]
        if end < 0 or not condition.strip() or ASSIGNMENT.search(condition):
            continue
        start += len(condition) - len(condition.lstrip())
        yield start, end, None, "condition"


def changed_returns(code, _):
    for match in RETURN.finditer(code):
        value = match.group(1).strip()
        if value not in ("{}", "true", "false", "0", "nullptr", "std::nullopt") and "{" not in value.replace("{}", ""):
            yield match.start(1), match.end(1), "{}", "returned value"


def function_scopes(code):
    """For every offset: whether it is inside a function's body."""
    inside = bytearray(len(code))
    stack = []
    boundary = 0
    for i, character in enumerate(code):
        if stack and stack[-1]:
            inside[i] = 1
        if character == "{":
            header = code[boundary:i]
            is_type = TYPE.match(header) or re.search(r"\bnamespace\b|\bextern\s*$", header)
            in_function = bool(stack) and stack[-1]
            stack.append(not is_type and (in_function or ")" in header))
        elif character == "}" and stack:
            stack.pop()
        if character in ";{}":
            boundary = i + 1
    return inside


def without_control(code, start, end):
    """Start of the statement behind labels and "if (...)"."""
    while True:
        while start < end and code[start].isspace():
            start += 1
        label = LABEL.match(code, start, end)
        control = CONTROL.match(code, start, end)
        if label:
            start = label.end()
        elif control:
            start = control.end()
            if code[start - 1] == "(":
                start = closing(code, start - 1) + 1
                if start == 0:
                    return end
        else:
            return start


def deleted_statements(code, _):
    inside = function_scopes(code)
    depths = [0]  # of the round brackets in each block
    begins = [0]  # of the statement in each block
    for i, character in enumerate(code):
        if character == "(":
            depths[-1] += 1
        elif character == ")":
            depths[-1] -= 1
        elif character == "{":
            depths.append(0)
            begins.append(i + 1)
        elif character == "}" and len(depths) > 1:
            depths.pop()
            begins.pop()
            if depths[-1] == 0:  # else the end of a lambda, amid its statement
                begins[-1] = i + 1
        if character != ";" or depths[-1] != 0:
            continue
        start = without_control(code, begins[-1], i)
        statement = code[start:i]
        begins[-1] = i + 1
        if not inside[i] or not statement.strip() or NEVER_DELETED.match(statement):
            continue
        if LOCK.match(statement):
            yield start, i + 1, "", "removed lock"
        elif NO_DECLARATION.match(statement) or not DECLARATION.match(statement):
            yield start, i + 1, "{}", "deleted statement"


def mutants_of(file, text):
    """Every mutant of a source, in the order of their places."""
    code = code_of(text)
    found = []
    for kind in (swapped_operators, changed_constants, negated_conditions, changed_returns, deleted_statements):
        for start, end, after, operator in kind(code, text):
            if after is None:
                after = f"!({text[start:end]})"
            found.append(Mutant(file, start, end, after, operator))
    return sorted(found, key=lambda m: (m.start, m.end, m.after))


def draw(sources, seed):
    """Yields the mutants of the sources (a dict of names and texts) in an order that the seed decides, each
    once. Every line of code is drawn as often as any other, and then one of the mutants that begin there."""
    chance = random.Random(f"mutants {seed}")
    by_line = {}
    lines = []
    for file in sorted(sources):
        text = sources[file]
        lines += [(file, n) for n, line in enumerate(code_of(text).split("\n"), 1) if line.strip()]
        for mutant in mutants_of(file, text):
            by_line.setdefault((file, mutant.line(text)), []).append(mutant)
    left = sum(len(mutants) for mutants in by_line.values())
    while left > 0:
        candidates = by_line.get(chance.choice(lines))
        if candidates:
            left -= 1
            yield candidates.pop(chance.randrange(len(candidates)))

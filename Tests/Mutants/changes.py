"""Finds the changes to try in a source: by the compiler's tree, one function body after the other."""

import ctypes
import dataclasses
import hashlib
import re

import clang.cindex
from clang.cindex import CursorKind

CONDITION_FORCED = "condition forced"
COMPARISON_TURNED = "comparison turned"
OPERATOR_CHANGED = "operator changed"
CONSTANT_OFF = "constant off by one"
TEXT_CHANGED = "text changed"
VALUE_NEGATED = "value negated"
STATEMENT_LEFT_OUT = "statement left out"
STATEMENTS_EXCHANGED = "statements exchanged"

TURNED = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
}
CHANGED = {
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "^": "&",
    "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "<<=": ">>=", ">>=": "<<=", "&=": "|=", "|=": "&=", "^=": "&=",
}
FUNCTIONS = {
    CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
    CursorKind.CONVERSION_FUNCTION, CursorKind.FUNCTION_TEMPLATE, CursorKind.OBJC_INSTANCE_METHOD_DECL,
    CursorKind.OBJC_CLASS_METHOD_DECL,
}
# What may be left out or exchanged where it stands as a statement.
CALLS = {
    CursorKind.CALL_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR,
    CursorKind.UNARY_OPERATOR, CursorKind.OBJC_MESSAGE_EXPR, CursorKind.UNEXPOSED_EXPR, CursorKind.CXX_DELETE_EXPR,
}
JUMPS = {CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT, CursorKind.CXX_THROW_EXPR}
LOOPS = {CursorKind.FOR_STMT, CursorKind.CXX_FOR_RANGE_STMT, CursorKind.WHILE_STMT, CursorKind.DO_STMT,
         CursorKind.SWITCH_STMT}
# Macros that show the text of their argument with this index.
ASSERTIONS = {"TOVRA_ASSERT": 0, "TOVRA_ASSERT_FOR": 1}
TEXTS = re.compile(r'@?"(?:[^"\\\n]|\\.)*"(?:sv|s)?(?:\s*"(?:[^"\\\n]|\\.)*"(?:sv|s)?)*')


@dataclasses.dataclass
class Change:
    """One change: `text` stands instead of what is between `start` and `end`."""

    kind: str
    start: int
    end: int
    text: str
    line: int
    function: str
    is_statement: bool = False
    is_condition: bool = False
    is_constexpr: bool = False
    # The place of the other half of an exchange, and what stands there instead.
    other: tuple = ()
    # What is shown.
    before: str = ""
    after: str = ""
    key: str = ""
    # A digest of the function, which a result belongs to.
    body: str = ""
    source_line: str = ""
    # Which of the changes that look the same in its function this is, from 1, and how many there are.
    occurrence: int = 1
    alike: int = 1

    @property
    def identity(self):
        """What a result belongs to: the change, as long as its function stays as it is."""
        return f"{self.key}-{self.body}"


def shortened(text):
    """The text in one line without comments; none where a line of the preprocessor or a raw text is in it."""
    if re.search(r'^\s*#', text, re.MULTILINE) or 'R"' in text:
        return None
    parts = re.split(r'("(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)+\'|//[^\n]*|/\*.*?\*/)', text, flags=re.DOTALL)
    kept = ["" if part.startswith(("//", "/*")) else part if part.startswith(('"', "'")) else re.sub(r"\s+", " ", part)
            for part in parts]
    return "".join(kept).strip()


class Source:
    """A file of the sources, whose changes are gathered from a translation unit that contains it."""

    def __init__(self, path, name):
        self.path, self.name = path, name
        with open(path, encoding="utf-8") as file:
            self.text = file.read()
        # The compiler counts bytes; so does this.
        self.bytes = self.text.encode()
        self.changes = []
        self.macros, self.definitions = find_macros(self.bytes)
        self.bodies = []
        self.assertions = []
        self.known = set()
        self.function = None
        self.is_constexpr = False

    def get_text(self, start, end):
        return self.bytes[start:end].decode()

    def get_line(self, offset):
        return self.bytes.count(b"\n", 0, offset) + 1

    def get_macro(self, offset):
        """The innermost call of a macro around the offset, as (start, end, name)."""
        found = [macro for macro in self.macros if macro[0] <= offset < macro[1]]
        return min(found, key=lambda macro: macro[1] - macro[0]) if found else None

    def get_range(self, cursor):
        """Where the cursor's text stands in this file, also in a macro's argument; none where it doesn't."""
        extent = cursor.extent
        start, end = get_offset(extent.start, self.path), get_offset(extent.end, self.path)
        if start is None or end is None or start >= end:
            return None
        if any(first <= start < last for first, last in self.definitions):
            return None
        # What a macro is made of, rather than its argument, has no text of its own.
        macro = self.get_macro(start)
        if macro and (start == macro[0] and end <= macro[1] or end > macro[1]):
            return None
        return start, end

    def add(self, kind, start, end, text, **more):
        text = None if text is None else shortened(text)
        before = shortened(self.get_text(start, end))
        if text is None or before is None or text == before and "other" not in more:
            return
        if (kind, start, end, text) in self.known:
            return
        self.known.add((kind, start, end, text))
        shown = {"before": before, "after": text} | more
        self.changes.append(Change(kind, start, end, text, self.get_line(start), self.function,
                                   is_constexpr=self.is_constexpr, **shown))

    def keep_changed(self, old):
        """Keeps the changes in functions whose text, but for blanks, is not in the old text."""
        old = " ".join(old.split())
        changed = [(start, end) for start, end, *_ in self.bodies
                   if " ".join(self.get_text(start, end).split()) not in old]
        outermost = {change.key: max((one[:2] for one in self.bodies if one[0] <= change.start < one[1]),
                                     key=lambda one: one[1] - one[0]) for change in self.changes}
        self.changes = [change for change in self.changes if outermost[change.key] in changed]

    def finish(self):
        """Gives each change a key that holds while its function stays the same, and the text of its line."""
        lines = self.text.splitlines()
        digests = {}
        for start, end, *_ in self.bodies:
            digests[start, end] = hashlib.sha1(" ".join(self.get_text(start, end).split()).encode()).hexdigest()[:12]
        looks = {}
        for change in sorted(self.changes, key=lambda one: (one.start, one.end, one.kind, one.text)):
            change.source_line = lines[change.line - 1].strip()
            outermost = max((one for one in digests if one[0] <= change.start < one[1]),
                            key=lambda one: one[1] - one[0])
            change.body = digests[outermost]
            what = "\0".join((self.name, change.function, change.kind, change.source_line, change.before, change.after))
            looks.setdefault(what, []).append(change)
            change.occurrence = len(looks[what])
            change.key = hashlib.sha1(f"{what}\0{change.occurrence}".encode()).hexdigest()[:16]
        for same in looks.values():
            for change in same:
                change.alike = len(same)


def get_offset(location, path):
    """The place in the file: of an argument of a macro where it is written, of what a macro is made of where it is
    called."""
    file, offset = clang.cindex.c_object_p(), ctypes.c_uint()
    line, column = ctypes.c_uint(), ctypes.c_uint()
    clang.cindex.conf.lib.clang_getSpellingLocation(location, ctypes.byref(file), ctypes.byref(line),
                                                    ctypes.byref(column), ctypes.byref(offset))
    if file and clang.cindex.File(file).name == path:
        return offset.value
    file = location.file
    return location.offset if file is not None and file.name == path else None


def find_macros(text):
    """The calls of this project's macros, as (start, end, name), and where macros are defined, as (start, end)."""
    definitions = [match.span() for match in re.finditer(rb"^[ \t]*#(?:[^\n\\]|\\.)*", text, re.MULTILINE | re.DOTALL)]
    calls = []
    for match in re.finditer(rb"\b(TOVRA_[A-Z0-9_]+)\s*\(", text):
        if any(first <= match.start() < last for first, last in definitions):
            continue
        length = find_end(text[match.start():].decode())
        if length is not None:
            end = match.start() + len(text[match.start():].decode()[:length].encode())
            calls.append((match.start(), end, match.group(1).decode()))
    return calls, definitions


PIECES = re.compile(r'"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)+\'|//[^\n]*|.', re.DOTALL)


def find_end(call):
    """How long the call of a macro is that the text begins with."""
    depth = 0
    for match in PIECES.finditer(call):
        piece = match.group()
        if piece in ("(", "[", "{"):
            depth += 1
        elif piece in (")", "]", "}"):
            depth -= 1
            if depth == 0:
                return match.end()
    return None


def get_name(cursor):
    names = [cursor.spelling]
    parent = cursor.semantic_parent
    while parent is not None and parent.kind in (CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL,
                                                 CursorKind.CLASS_TEMPLATE, CursorKind.OBJC_IMPLEMENTATION_DECL):
        names.insert(0, parent.spelling)
        parent = parent.semantic_parent
    return "::".join(names)


class Finder:
    """Walks through a translation unit and gathers changes in the sources that are asked for."""

    def __init__(self, sources):
        self.sources = {source.path: source for source in sources}
        self.source = None

    def find(self, unit):
        for cursor in unit.cursor.get_children():
            file = cursor.location.file
            self.source = self.sources.get(file.name) if file is not None else None
            if self.source is not None:
                self.find_functions(cursor)
        for source in self.sources.values():
            self.source = source
            self.find_texts_of_macros()

    def find_functions(self, cursor):
        if cursor.kind in FUNCTIONS:
            self.visit_function(cursor)
            return
        for child in cursor.get_children():
            self.find_functions(child)

    def visit_function(self, cursor):
        body = [child for child in cursor.get_children()
                if child.kind in (CursorKind.COMPOUND_STMT, CursorKind.CXX_TRY_STMT)]
        place = self.source.get_range(cursor)
        # A function that is defaulted has a body that stands nowhere.
        if not body or place is None or self.source.bytes[body[0].extent.start.offset:][:1] not in (b"{", b"t"):
            return
        head = self.source.get_text(place[0], max(place[0], body[0].extent.start.offset))
        if re.search(r"\bconsteval\b", head):
            return
        outer = self.source.function, self.source.is_constexpr
        self.source.function = get_name(cursor)
        self.source.is_constexpr = bool(re.search(r"\bconstexpr\b", head))
        self.source.bodies.append((place[0], place[1], self.source.function, self.source.is_constexpr))
        self.returns_bool = cursor.result_type.spelling == "bool"
        for child in cursor.get_children():
            # In front of the name stand types and what they are made of.
            if child.kind != CursorKind.PARM_DECL and child.extent.start.offset > cursor.location.offset:
                self.visit(child)
        self.source.function, self.source.is_constexpr = outer

    def visit(self, cursor):
        kind = cursor.kind
        if kind in FUNCTIONS:
            self.visit_function(cursor)
            return
        if kind in (CursorKind.STATIC_ASSERT, CursorKind.TYPE_ALIAS_DECL, CursorKind.PARM_DECL, CursorKind.ENUM_DECL):
            return
        children = list(cursor.get_children())
        if kind == CursorKind.DECL_STMT:
            place = self.source.get_range(cursor)
            if place is None or re.match(r"(static\s+)?(constexpr|constinit)\b|.*\bconstexpr\b[^=({]*[=({]",
                                         self.source.get_text(*place).split("\n")[0]):
                return
        if kind != CursorKind.RETURN_STMT:
            self.add_changes(cursor, children)
        if kind == CursorKind.LAMBDA_EXPR:
            outer, self.returns_bool = self.returns_bool, False
            for child in children:
                if child.kind != CursorKind.PARM_DECL:
                    self.visit(child)
            self.returns_bool = outer
            return
        if kind == CursorKind.IF_STMT and self.is_constant_if(cursor):
            children = [child for child in children if not child.kind.is_expression()]
        for index, child in enumerate(children):
            if kind == CursorKind.CASE_STMT and index == 0:
                continue
            # Many of the compiler's own functions take constants alone.
            if kind == CursorKind.CALL_EXPR and cursor.spelling.startswith("__builtin_") and child.kind.is_expression():
                continue
            # The sizes and template arguments of a type stand before the name or in brackets behind it.
            if kind in (CursorKind.VAR_DECL, CursorKind.FIELD_DECL) and child.kind.is_expression():
                name = cursor.location.offset
                if child.extent.start.offset < name + len(cursor.spelling):
                    continue
                between = self.source.get_text(name, max(name, child.extent.start.offset))
                if between[len(cursor.spelling):].lstrip().startswith("[") and "=" not in between:
                    continue
            if kind in (CursorKind.DECL_REF_EXPR, CursorKind.MEMBER_REF_EXPR, CursorKind.TYPE_REF,
                        CursorKind.TEMPLATE_REF) and "LITERAL" in child.kind.name:
                continue
            self.visit(child)
        # What is returned may have been turned already.
        if kind == CursorKind.RETURN_STMT:
            self.add_changes(cursor, children)

    def is_constant_if(self, cursor):
        return bool(re.match(rb"if\s+!?\s*(constexpr|consteval)", self.source.bytes[cursor.extent.start.offset:][:40]))

    def add_changes(self, cursor, children):
        kind = cursor.kind
        place = self.source.get_range(cursor)
        if kind == CursorKind.COMPOUND_STMT:
            if place is not None:
                self.add_statements(children)
        elif kind in (CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT) and place is not None:
            self.add_statements(children[-1:])
        if place is None:
            return
        start, end = place
        text = self.source.get_text(start, end)
        if kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR):
            if len(children) == 2:
                self.add_operator(cursor, place, children[0], children[1])
        elif kind in (CursorKind.CALL_EXPR, CursorKind.UNEXPOSED_EXPR):
            operands = [child for child in children if not child.spelling.startswith("operator")
                        or child.kind == CursorKind.CALL_EXPR]
            if len(operands) == 2 and len(children) <= 3:
                self.add_operator(cursor, place, operands[0], operands[1])
        elif kind == CursorKind.UNARY_OPERATOR:
            # A comparison that the compiler made of another one has no operator of its own.
            if text.startswith("!="):
                pass
            elif text.startswith("!"):
                self.source.add(VALUE_NEGATED, start, end, f"!({text})", after=text[1:].strip())
            elif text.startswith(("++", "--")):
                self.source.add(OPERATOR_CHANGED, start, end, ("--" if text[0] == "+" else "++") + text[2:])
            elif text.endswith(("++", "--")):
                self.source.add(OPERATOR_CHANGED, start, end, text[:-2] + ("--" if text[-1] == "+" else "++"))
            elif text.startswith("-"):
                self.source.add(OPERATOR_CHANGED, start, end, text[1:])
        elif kind == CursorKind.INTEGER_LITERAL or kind == CursorKind.FLOATING_LITERAL:
            if text[0].isdigit():
                self.source.add(CONSTANT_OFF, start, end, f"{text} + 1")
        elif kind == CursorKind.CHARACTER_LITERAL:
            if text.startswith("'"):
                self.source.add(CONSTANT_OFF, start, end, f"char({text} + 1)")
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            if text in ("true", "false"):
                self.source.add(VALUE_NEGATED, start, end, "false" if text == "true" else "true")
        elif kind in (CursorKind.STRING_LITERAL, CursorKind.OBJC_STRING_LITERAL):
            self.add_text(start, end)
        elif kind == CursorKind.CONDITIONAL_OPERATOR:
            if len(children) == 3:
                self.add_condition(children[0], ("true", "false"), "?")
        elif kind == CursorKind.IF_STMT:
            if not self.is_constant_if(cursor) and children[0].kind != CursorKind.VAR_DECL:
                for child in children[:2]:
                    if child.kind.is_expression():
                        self.add_condition(child, ("true", "false"), ")")
                        break
        elif kind == CursorKind.WHILE_STMT:
            if len(children) == 2:
                self.add_condition(children[0], ("false",), ")")
        elif kind == CursorKind.DO_STMT:
            if len(children) == 2:
                self.add_condition(children[1], ("false",), ")")
        elif kind == CursorKind.FOR_STMT:
            for child in children[1:-1]:
                if child.kind.is_expression() and self.add_condition(child, ("false",), ";"):
                    break
        elif kind == CursorKind.RETURN_STMT:
            if self.returns_bool and children:
                inner = self.source.get_range(children[0])
                if inner is not None:
                    returned = self.source.get_text(*inner)
                    is_turned = any(change.kind == COMPARISON_TURNED and (change.start, change.end) == inner
                                   for change in self.source.changes)
                    if returned not in ("true", "false") and not returned.startswith("!") and not is_turned:
                        self.source.add(VALUE_NEGATED, *inner, f"!({returned})", is_condition=True)

    def add_operator(self, cursor, place, left, right):
        first, second = self.source.get_range(left), self.source.get_range(right)
        if first is None or second is None or not place[0] <= first[0] < first[1] < second[0] < second[1] <= place[1]:
            return
        if first[0] != place[0] or second[1] != place[1]:
            return
        between = shortened(self.source.get_text(first[1], second[0]))
        before, after = self.source.get_text(*first), self.source.get_text(*second)
        if between in TURNED:
            for turned in TURNED[between]:
                self.source.add(COMPARISON_TURNED, *place, f"{before} {turned} {after}")
        elif between in ("&&", "||"):
            self.source.add(OPERATOR_CHANGED, *place, f"({before}) {'||' if between == '&&' else '&&'} ({after})",
                            is_condition=True)
            self.source.add(CONDITION_FORCED, *place, before, is_condition=True)
            self.source.add(CONDITION_FORCED, *place, after, is_condition=True)
        elif between in CHANGED and cursor.kind != CursorKind.CALL_EXPR and cursor.kind != CursorKind.UNEXPOSED_EXPR:
            self.source.add(OPERATOR_CHANGED, *place, f"{before} {CHANGED[between]} {after}")

    def add_condition(self, cursor, values, follower):
        place = self.source.get_range(cursor)
        if place is None:
            return False
        rest = self.source.bytes[place[1]:place[1] + 200].decode(errors="ignore")
        if not rest.lstrip().startswith(follower):
            return False
        for value in values:
            if self.source.get_text(*place) not in ("true", "false"):
                self.source.add(CONDITION_FORCED, *place, value, is_condition=True)
        return True

    def add_text(self, start, end):
        text = self.source.get_text(start, end)
        # Where a text is part of a macro's argument that is shown, the finder of macros' texts changes it.
        if not TEXTS.fullmatch(text) or self.source.get_macro(start):
            return
        self.change_text(start, end)

    def change_text(self, start, end):
        text = self.source.get_text(start, end)
        if re.fullmatch(r'@?""', text):
            self.source.add(TEXT_CHANGED, start, end, text[:-1] + 'x"')
            return
        pattern = r"(?<![%\\.0-9])[A-Za-z0-9](?!\")|(?<=[^%\\.0-9@])[A-Za-z0-9](?=\")"
        letters = [match.start() for match in re.finditer(pattern, text) if text.count('"', 0, match.start()) % 2]
        if not letters:
            letters = [match.start() for match in re.finditer(r"[^\\\"@%\s]", text)
                       if text[match.start() - 1] not in "\\%" and text.count('"', 0, match.start()) % 2][:1]
        for index in {letters[0], letters[-1]} if len(letters) > 3 else letters[:1]:
            other = "y" if text[index] == "x" else "x"
            self.source.add(TEXT_CHANGED, start, end, text[:index] + other + text[index + 1:])

    def add_statements(self, children):
        previous = None
        for child in children:
            start = child.extent.start.offset
            macros = [macro for macro in self.source.macros if macro[0] == start]
            place = macros[0][:2] if macros else self.source.get_range(child)
            is_call = child.kind in CALLS and not macros
            statement = None
            if place is not None and (macros or is_call or child.kind in JUMPS or child.kind in LOOPS
                                      or child.kind == CursorKind.RETURN_STMT and not list(child.get_children())):
                statement = self.get_statement(child, place)
            if statement is None:
                previous = None
                continue
            text = self.source.get_text(*statement)
            self.source.add(STATEMENT_LEFT_OUT, *statement, "", is_statement=True)
            if is_call and previous is not None and shortened(self.source.get_text(*previous)):
                self.source.add(STATEMENTS_EXCHANGED, *previous, text, is_statement=True,
                                other=(*statement, shortened(self.source.get_text(*previous))))
            previous = statement if is_call else None

    def get_statement(self, child, place):
        start, end = place
        if child.kind in LOOPS and child.kind != CursorKind.DO_STMT:
            return start, end
        rest = self.source.bytes[end:end + 200].decode(errors="ignore")
        match = re.match(r"\s*;", rest)
        return (start, end + len(match.group().encode())) if match else None

    def find_texts_of_macros(self):
        """Texts in arguments of macros, which the tree does not show where a macro passes them on."""
        source = self.source
        for start, end, name in source.macros:
            body = [one for one in source.bodies if one[0] <= start < one[1]]
            if not body or not name:
                continue
            _, _, source.function, source.is_constexpr = min(body, key=lambda one: one[1] - one[0])
            text = source.bytes[start:end]
            arguments = split_arguments(text.decode()) if text.startswith(name.encode()) else None
            if arguments is None:
                continue
            if name in ASSERTIONS and len(arguments) > ASSERTIONS[name]:
                source.assertions.append((start, end, name, arguments[ASSERTIONS[name]].strip()))
            for match in re.finditer(TEXTS.pattern.encode(), text):
                self.change_text(start + match.start(), start + match.end())


def split_arguments(call):
    """The arguments of a macro's call."""
    depth, arguments, current = 0, [], ""
    for part in re.findall(r'"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)+\'|.', call, flags=re.DOTALL):
        if part in "([{" and len(part) == 1:
            depth += 1
            if depth == 1:
                continue
        elif part in ")]}" and len(part) == 1:
            depth -= 1
            if depth == 0:
                arguments.append(current)
                return arguments
        elif part == "," and depth == 1:
            arguments.append(current)
            current = ""
            continue
        if depth > 0:
            current += part
    return None

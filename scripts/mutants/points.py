"""Finds where a source can be mutated, and how."""

import bisect
import re
from dataclasses import dataclass, replace
from pathlib import Path

from clang import cindex
from clang.cindex import CursorKind as Kind
from clang.cindex import TypeKind

OPERATORS = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==",
    "&&": "||", "||": "&&",
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<",
    "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "&=": "|=", "|=": "&=", "^=": "|=", "<<=": ">>=", ">>=": "<<=",
    "++": "--", "--": "++",
}
EQUALITIES = ("==", "!=")
COMPARISONS = ("<", "<=", ">", ">=") + EQUALITIES
LOGICAL = ("&&", "||")

# Statements whose removal changes the speed and nothing else.
ONLY_SPEED = re.compile(r"(\w+(\.|->|::))*(\w*[pP]refetch\w*|__builtin_prefetch|spinPause|touch)$")
# The place in an exception is no behaviour.
CONSTANT = re.compile(r"(?!LINE_)[A-Z][A-Z0-9_]+$")
INTEGER = re.compile(r"(0[xX][0-9a-fA-F']+|0[bB][01']+|[0-9][0-9']*)([uUlLzZ]*)$")

FUNCTIONS = (Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE)
SCOPES = (Kind.NAMESPACE, Kind.CLASS_DECL, Kind.STRUCT_DECL, Kind.UNION_DECL, Kind.CLASS_TEMPLATE,
          Kind.CLASS_TEMPLATE_PARTIAL_SPECIALIZATION, Kind.LINKAGE_SPEC, Kind.FRIEND_DECL, Kind.UNEXPOSED_DECL)
# They contain names, types and constant expressions only, or are never evaluated.
OPAQUE = (Kind.DECL_REF_EXPR, Kind.TYPE_REF, Kind.TEMPLATE_REF, Kind.NAMESPACE_REF, Kind.MEMBER_REF,
          Kind.OVERLOADED_DECL_REF, Kind.STATIC_ASSERT, Kind.CXX_UNARY_EXPR, Kind.TYPE_ALIAS_DECL, Kind.TYPEDEF_DECL)
TRANSPARENT = (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR)


@dataclass
class Mutant:
    """A change of the text from `start` to `end`.

    `form` tells how the text is rewritten: "replace" evaluates `after` instead; "increment" does so with the type of
    `before`; "negate" and "remove" do what they say; "statement" puts `after` in the place of a statement.
    """
    file: str
    line: int
    text: str  # of the line
    function: str
    start: int
    end: int
    before: str
    after: str
    form: str
    is_constexpr: bool
    occurrence: int = 1  # among equal changes of equal lines of a function

    def key(self):
        return (self.file, self.function, self.text, self.change())

    def change(self):
        repetition = f" ({self.occurrence})" if self.occurrence > 1 else ""
        return f"{self.before} -> {self.after or '(removed)'}{repetition}"


@dataclass(frozen=True)
class Context:
    function: str
    is_constexpr: bool
    returns_bool: bool
    is_lambda: bool = False
    innermost: str = ""  # "loop", "endless loop" or "switch"
    is_end_reachable: bool = True  # of the statement. To make it reachable is undefined behaviour, and no mutant.


class Finder:
    """Finds the mutants of one file of a translation unit."""

    def __init__(self, unit, path, name):
        self.name = name
        self.data = Path(path).read_bytes()
        self.lines = self.data.decode().split("\n")
        file = unit.get_file(path)
        whole = cindex.SourceRange.from_locations(cindex.SourceLocation.from_offset(unit, file, 0),
                                                  cindex.SourceLocation.from_offset(unit, file, len(self.data)))
        self.tokens = [(token.extent.start.offset, token.extent.end.offset, token.spelling)
                       for token in unit.get_tokens(extent=whole) if token.kind != cindex.TokenKind.COMMENT]
        self.starts = [token[0] for token in self.tokens]
        self.mutants = []
        self.seen = set()
        self.macros = []
        declarations = []
        for cursor in unit.cursor.get_children():
            if cursor.location.file is not None and cursor.location.file.name == path:
                if cursor.kind == Kind.MACRO_INSTANTIATION:
                    self.macros.append((cursor.extent.start.offset, cursor.extent.end.offset))
                declarations.append(cursor)
        for declaration in declarations:
            self.visit_declaration(declaration)
        self.number_occurrences()

    def number_occurrences(self):
        counts = {}
        for mutant in sorted(self.mutants, key=lambda mutant: (mutant.start, mutant.end)):
            counts[mutant.key()] = counts.get(mutant.key(), 0) + 1
            mutant.occurrence = counts[mutant.key()]

    # Tokens

    def range_of(self, cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def tokens_of(self, start, end):
        first = bisect.bisect_left(self.starts, start)
        last = bisect.bisect_left(self.starts, end)
        return [token for token in self.tokens[first:last] if token[1] <= end]

    def spell(self, start, end, replaced=None, instead=""):
        """The tokens of a range as one line, where the text of one may be another one."""
        pieces = []
        previous_end = start
        for token_start, token_end, spelling in self.tokens_of(start, end):
            if token_start > previous_end:
                pieces.append(" ")
            pieces.append(instead if token_start == replaced else spelling)
            previous_end = token_end
        return "".join(pieces)

    def parentheses_after(self, offset):
        """The range between the next '(' and its ')', and the offsets of the ';' directly in it."""
        depth = 0
        start = None
        semicolons = []
        for token_start, token_end, spelling in self.tokens[bisect.bisect_left(self.starts, offset):]:
            if spelling in ("(", "[", "{"):
                depth += 1
                start = token_end if start is None else start
            elif spelling in (")", "]", "}"):
                depth -= 1
                if depth == 0:
                    return start, token_start, semicolons
            elif spelling == ";" and depth == 1:
                semicolons.append(token_start)
        raise ValueError(f"{self.name}: no ')' after {offset}")

    # Mutants

    def add(self, changed, before, after, form, context):
        start, end = changed
        tokens = self.tokens_of(start, end)
        if (not tokens or tokens[0][0] != start or tokens[-1][1] != end or (start, end, after) in self.seen or
                any(first <= start and end <= last for first, last in self.macros) or
                any(token[2] == "#" for token in tokens)):
            return
        self.seen.add((start, end, after))
        line = self.data.count(b"\n", 0, start) + 1
        self.mutants.append(Mutant(self.name, line, self.lines[line - 1].strip(), context.function, start, end, before,
                                   after, form, context.is_constexpr))

    def add_operator(self, cursor, context, operator):
        start, end = self.range_of(cursor)
        offset, _, spelling = operator
        after = self.spell(start, end, offset, OPERATORS[spelling])
        self.add((start, end), self.spell(start, end), after, "replace", context)

    def add_negation(self, cursor, context):
        before = self.spell(*self.range_of(cursor))
        self.add(self.range_of(cursor), before, f"!({before})", "negate", context)

    def strip(self, cursor):
        while cursor.kind in TRANSPARENT:
            children = list(cursor.get_children())
            if len(children) != 1:
                break
            inner = children[0]
            if cursor.kind != Kind.PAREN_EXPR and self.range_of(inner) != self.range_of(cursor):
                # != that is made of ==, and such: the inner expression starts after the first operand.
                deeper = list(inner.get_children())
                if len(deeper) == 1 and self.range_of(deeper[0]) == self.range_of(cursor):
                    inner = deeper[0]
                else:
                    break
            cursor = inner
        return cursor

    def find_operator(self, cursor):
        """The token of a unary, binary or overloaded operator; None if it has none that is written so."""
        start, end = self.range_of(cursor)
        children = list(cursor.get_children())
        if cursor.kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            between = self.tokens_of(children[0].extent.end.offset, children[1].extent.start.offset)
            return between[0] if len(between) == 1 else None
        if cursor.kind == Kind.UNARY_OPERATOR and len(children) == 1:
            inner_start, inner_end = self.range_of(children[0])
            outer = self.tokens_of(start, inner_start) + self.tokens_of(inner_end, end)
            return outer[0] if len(outer) == 1 else None
        if cursor.kind == Kind.CALL_EXPR and cursor.spelling.startswith("operator") and len(children) == 3:
            left, symbol, right = (self.range_of(child) for child in children)
            between = self.tokens_of(*symbol)
            if len(between) == 1 and left[1] <= symbol[0] and symbol[1] <= right[0]:
                return between[0]
        return None

    def spell_operator(self, cursor):
        operator = self.find_operator(cursor)
        return operator[2] if operator else ""

    def add_conditions(self, cursor, context):
        """Negates a condition, or the operands of && and ||. What has == or != is mutated as an operator."""
        inner = self.strip(cursor)
        spelling = self.spell_operator(inner)
        if spelling in LOGICAL:
            for child in inner.get_children():
                self.add_conditions(child, context)
        elif spelling not in EQUALITIES and inner.kind != Kind.CXX_BOOL_LITERAL_EXPR:
            self.add_negation(cursor, context)

    # Declarations

    def visit_declaration(self, cursor):
        if cursor.kind in FUNCTIONS:
            self.visit_function(cursor)
        elif cursor.kind in SCOPES:
            for child in cursor.get_children():
                self.visit_declaration(child)
        elif cursor.kind == Kind.FIELD_DECL:
            context = Context(f"{cursor.semantic_parent.spelling}::{cursor.spelling}", True, False)
            self.visit_initializer(cursor, context)

    def visit_function(self, cursor):
        if not cursor.is_definition():
            return
        start, end = self.range_of(cursor)
        words = [token[2] for token in self.tokens_of(start, cursor.location.offset)]
        if "consteval" in words:
            return
        parent = cursor.semantic_parent
        name = f"{parent.spelling}::{cursor.spelling}" if parent.kind not in (
            Kind.NAMESPACE, Kind.TRANSLATION_UNIT) else cursor.spelling
        name = re.sub("<.*>", "", name) if "operator" not in name else name
        result = cursor.result_type.get_canonical().kind
        context = Context(name, "constexpr" in words, result == TypeKind.BOOL,
                          is_end_reachable=result == TypeKind.VOID and not self.is_noreturn(cursor))
        for child in cursor.get_children():
            is_body = child.kind in (Kind.COMPOUND_STMT, Kind.CXX_TRY_STMT)
            if is_body and child.extent.start.offset >= cursor.location.offset:
                self.visit_statement(child, context)
            elif not is_body and cursor.kind == Kind.CONSTRUCTOR and child.kind.is_expression():
                self.visit(child, context)

    def is_noreturn(self, cursor):
        return any(token.spelling == "noreturn" for child in cursor.get_children() if child.kind == Kind.UNEXPOSED_ATTR
                   for token in child.get_tokens())

    def returns_value(self, body):
        """Tells the kind of a lambda, whose type is not known."""
        return any(child.kind == Kind.RETURN_STMT and any(child.get_children()) or
                   child.kind != Kind.LAMBDA_EXPR and self.returns_value(child) for child in body.get_children())

    def visit_initializer(self, cursor, context):
        """Visits the initial value of a variable or member, not the constants in its type."""
        name_end = cursor.location.offset
        for child in cursor.get_children():
            if not child.kind.is_expression() or child.extent.start.offset <= name_end:
                continue
            before = bisect.bisect_left(self.starts, child.extent.start.offset) - 1
            if before >= 0 and self.tokens[before][2] not in ("[", ":"):
                self.visit(child, context)

    def visit_variable(self, cursor, context):
        words = [token[2] for token in self.tokens_of(cursor.extent.start.offset, cursor.location.offset)]
        if "constexpr" not in words and "constinit" not in words:
            self.visit_initializer(cursor, context)

    # Statements

    def visit_statement(self, cursor, context):
        visitor = {
            Kind.COMPOUND_STMT: self.visit_statements,
            Kind.UNEXPOSED_STMT: self.visit_statements,
            Kind.CXX_TRY_STMT: self.visit_statements,
            Kind.CXX_CATCH_STMT: self.visit_statements,
            Kind.IF_STMT: self.visit_if,
            Kind.WHILE_STMT: self.visit_loop,
            Kind.FOR_STMT: self.visit_loop,
            Kind.CXX_FOR_RANGE_STMT: self.visit_loop,
            Kind.DO_STMT: self.visit_do,
            Kind.SWITCH_STMT: self.visit_switch,
            Kind.CASE_STMT: self.visit_label,
            Kind.DEFAULT_STMT: self.visit_label,
            Kind.RETURN_STMT: self.visit_return,
            Kind.BREAK_STMT: self.visit_jump,
            Kind.CONTINUE_STMT: self.visit_jump,
            Kind.DECL_STMT: self.visit_declaration_statement,
        }.get(cursor.kind)
        if visitor:
            visitor(cursor, context)
        elif cursor.kind.is_expression():
            if context.is_end_reachable:
                self.add_removal(cursor, context)
            self.visit(cursor, context)

    def visit_statements(self, cursor, context):
        children = list(cursor.get_children())
        for child in children:
            # A try block is not followed by its handlers: both end where the whole statement does.
            is_followed = child != children[-1] and cursor.kind != Kind.CXX_TRY_STMT
            self.visit_statement(child, replace(context, is_end_reachable=True) if is_followed else context)

    def visit_declaration_statement(self, cursor, context):
        for child in cursor.get_children():
            if child.kind == Kind.VAR_DECL:
                self.visit_variable(child, context)

    def visit_if(self, cursor, context):
        first, last, semicolons = self.parentheses_after(cursor.extent.start.offset)
        is_constexpr = self.tokens_of(*self.range_of(cursor))[1][2] == "constexpr"
        self.visit_controlled(cursor, context, context, semicolons[0] if semicolons else first,
                              -1 if is_constexpr else last, last)

    def visit_loop(self, cursor, context):
        first, last, semicolons = self.parentheses_after(cursor.extent.start.offset)
        end = last
        if cursor.kind == Kind.CXX_FOR_RANGE_STMT or not context.is_end_reachable:
            end = -1
        elif cursor.kind == Kind.FOR_STMT:
            first, end = semicolons[:2]
        self.visit_controlled(cursor, context, self.enter_loop(context), first, end, last)

    def enter_loop(self, context):
        innermost = "loop" if context.is_end_reachable else "endless loop"
        return replace(context, innermost=innermost, is_end_reachable=True)

    def visit_controlled(self, cursor, context, body_context, condition_start, condition_end, last):
        """Visits what is in the parentheses of an `if` or a loop, which end at `last`, and what comes after them."""
        declared = []
        for child in cursor.get_children():
            start, end = self.range_of(child)
            if start >= last:
                self.visit_statement(child, body_context)
            elif child.kind == Kind.DECL_STMT:
                self.visit_declaration_statement(child, context)
                declared.append((start, end))
            elif child.kind == Kind.VAR_DECL:
                if condition_end >= 0 and cursor.kind != Kind.CXX_FOR_RANGE_STMT:
                    self.visit_variable(child, context)
                declared.append((start, end))
            elif child.kind.is_expression() and not any(first <= start and end <= stop for first, stop in declared):
                if condition_start <= start and end <= condition_end:
                    self.add_conditions(child, context)
                if condition_end >= 0 or cursor.kind == Kind.CXX_FOR_RANGE_STMT:
                    self.visit(child, context)

    def visit_do(self, cursor, context):
        children = list(cursor.get_children())
        self.visit_statement(children[0], self.enter_loop(context))
        if context.is_end_reachable:
            self.add_conditions(children[-1], context)
            self.visit(children[-1], context)

    def visit_switch(self, cursor, context):
        _, last, _ = self.parentheses_after(cursor.extent.start.offset)
        for child in cursor.get_children():
            if child.extent.start.offset >= last:
                self.visit_statement(child, replace(context, innermost="switch"))
            elif child.kind.is_expression():
                self.visit(child, context)

    def visit_label(self, cursor, context):
        children = list(cursor.get_children())
        if cursor.kind == Kind.DEFAULT_STMT or len(children) > 1:
            self.visit_statement(children[-1], context)

    def visit_return(self, cursor, context):
        for child in cursor.get_children():
            is_bool = child.type.get_canonical().kind == TypeKind.BOOL if context.is_lambda else context.returns_bool
            if is_bool:
                self.add_conditions(child, context)
            self.visit(child, context)

    def visit_jump(self, cursor, context):
        start, end = self.range_of(cursor)
        after = self.tokens[bisect.bisect_left(self.starts, end)]
        before = self.spell(start, end)
        whole = (start, after[1])
        if after[2] != ";":
            return
        if context.innermost == "loop":
            self.add(whole, before, "continue" if before == "break" else "break", "statement", context)
        elif context.innermost == "switch" and before == "break":
            self.add(whole, before, "", "statement", context)

    def add_removal(self, cursor, context):
        inner = self.strip(cursor)
        spelling = self.spell_operator(inner)
        before = self.spell(*self.range_of(cursor))
        if inner.kind == Kind.CALL_EXPR:
            if ONLY_SPEED.match(before.split("(")[0]):
                return
        elif not (inner.kind in (Kind.CXX_THROW_EXPR, Kind.CXX_DELETE_EXPR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) or
                  spelling in ("=", "++", "--")):
            return
        self.add(self.range_of(cursor), before, "", "remove", context)

    # Expressions

    def visit(self, cursor, context):
        kind = cursor.kind
        if kind == Kind.LAMBDA_EXPR:
            for child in cursor.get_children():
                if child.kind == Kind.COMPOUND_STMT:
                    self.visit_statement(child, replace(context, is_lambda=True, innermost="",
                                                        is_end_reachable=not self.returns_value(child)))
            return
        if kind == Kind.INTEGER_LITERAL:
            self.add_integer(cursor, context)
        elif kind == Kind.CXX_BOOL_LITERAL_EXPR:
            before = self.spell(*self.range_of(cursor))
            if before in ("true", "false"):
                self.add(self.range_of(cursor), before, "false" if before == "true" else "true", "negate", context)
        elif kind == Kind.DECL_REF_EXPR:
            self.add_constant(cursor, context)
        elif kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.UNARY_OPERATOR, Kind.CALL_EXPR):
            self.visit_operator(cursor, context)
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.add_conditions(next(cursor.get_children()), context)
        if kind in OPAQUE:
            return
        tokens = self.tokens_of(*self.range_of(cursor))
        if tokens and tokens[0][2] == "requires":
            return
        name = cursor.location.offset if kind == Kind.MEMBER_REF_EXPR else None
        for child in cursor.get_children():
            if name is not None and child.extent.start.offset > name:
                continue  # an argument of a template
            if child.kind.is_expression():
                self.visit(child, context)
            elif child.kind.is_statement():
                self.visit_statement(child, context)

    def visit_operator(self, cursor, context):
        operator = self.find_operator(cursor)
        if operator is None:
            return
        spelling = operator[2]
        if cursor.kind == Kind.CALL_EXPR:
            if spelling in COMPARISONS:
                self.add_operator(cursor, context, operator)
        elif cursor.kind == Kind.UNARY_OPERATOR:
            if spelling in ("++", "--"):
                self.add_operator(cursor, context, operator)
            elif spelling == "!":
                self.add_negation(cursor, context)
        elif spelling in LOGICAL:
            self.add_operator(cursor, context, operator)
            for child in cursor.get_children():
                self.add_conditions(child, context)
        elif spelling in OPERATORS:
            kinds = [child.type.get_canonical().kind for child in cursor.get_children()]
            is_difference = spelling == "-" and kinds.count(TypeKind.POINTER) == 2
            if not is_difference and (spelling in COMPARISONS or TypeKind.RECORD not in kinds):
                self.add_operator(cursor, context, operator)

    def add_integer(self, cursor, context):
        before = self.spell(*self.range_of(cursor))
        match = INTEGER.match(before)
        if match:
            digits = match[1].replace("'", "")
            octal = re.match("0[0-9]", digits)
            value = int(digits, 8 if octal else 0) + 1
            form = {"0x": hex, "0X": hex, "0b": bin, "0B": bin}.get(digits[:2], oct if octal else str)(value)
            self.add(self.range_of(cursor), before, form.replace("0o", "0") + match[2], "replace", context)

    def add_constant(self, cursor, context):
        referenced = cursor.referenced
        if referenced is None or referenced.kind != Kind.VAR_DECL or not CONSTANT.match(cursor.spelling):
            return
        value_type = cursor.type.get_canonical()
        if value_type.is_const_qualified() and value_type.kind in (
                TypeKind.UCHAR, TypeKind.USHORT, TypeKind.UINT, TypeKind.ULONG, TypeKind.ULONGLONG, TypeKind.CHAR_U,
                TypeKind.CHAR_S, TypeKind.SCHAR, TypeKind.SHORT, TypeKind.INT, TypeKind.LONG, TypeKind.LONGLONG):
            before = self.spell(*self.range_of(cursor))
            self.add(self.range_of(cursor), before, f"{before} + 1", "increment", context)


def find_mutants(unit, path, name):
    """The mutants of a file, which is called `name`, in a unit that includes it or is made of it."""
    return sorted(Finder(unit, path, name).mutants, key=lambda mutant: (mutant.start, -mutant.end))

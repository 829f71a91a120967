"""What a mutant may be: each operator changes one place of a source as a slip of the hand would."""

import hashlib
import re
from dataclasses import dataclass, field

from mutation.source import NO_FUNCTION

RELATIONAL = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">"}
BOUND = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
LOGICAL = {"&&": "||", "||": "&&"}
ARITHMETIC = {
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "<<": ">>", ">>": "<<",
    "+=": "-=", "-=": "+=", "&=": "|=", "|=": "&=", "++": "--", "--": "++",
}
JUMP = {"break": "continue", "continue": "break"}
NOT_A_STATEMENT = {
    "return", "if", "for", "while", "do", "switch", "case", "default", "break", "continue", "using", "static_assert",
    "else", "try", "catch", "throw", "static", "constexpr", "struct", "class", "public", "private",
}
DECLARATION = re.compile(r"^(const |constexpr |static |auto )*[\w:]+(<.*>)?[*&]*( const)? [*&]*\w+( =|;|\[|\{)")
UNARY_AFTER = {"(", ",", "=", "return", "?", ":", "&&", "||", "==", "!=", "<", ">", "<=", ">=", "{", "[", "+", "*", ";"}
CONVERSION = re.compile(r"%[-+ #0]*\d*(?:\.\d+)?(?:hh|h|ll|l|z)?[a-zA-Z%]|\\(?:x[0-9A-Fa-f]+|[0-7]{1,3}|.)")
ZERO_RESULTS = {"0", "false", "nullptr", "{}", '""', "{ }"}
CONDITION_STARTS = {"=", "(", ",", "return", ";", "{", "}", "[", "?", ":", "+=", "&=", "|="}


@dataclass
class Mutant:
    path: str
    function: str
    operator: str
    line: int
    before: str  # the lines as they are, white space folded
    after: str  # the same lines as they become; empty for a statement taken out
    text: str = field(repr=False)  # the whole file as it becomes
    id: str = ""

    @property
    def place(self):
        return (self.path, self.function, self.operator, self.before, self.after)


def folded(text):
    """On one line, without comments: what identifies a place even if its line breaks change."""
    return " ".join(re.sub(r"//[^\n]*", "", text).split())


class Mutator:
    """All mutants of one source. siblings: for a name, the one it could be mistaken for."""

    def __init__(self, source, siblings):
        self.source = source
        self.tokens = source.tokens
        self.siblings = siblings
        self.is_table = source.path.endswith(".def")
        self.mutants = []
        self.skipped = self._inside_static_asserts()

    def all(self):
        for index, token in enumerate(self.tokens):
            if index in self.skipped or (self.source.function[index] == NO_FUNCTION and not self.is_table):
                continue
            getattr(self, "_" + token.kind)(index, token)
            if self.source.in_code(index) and self._begins_statement(index):
                self._statement(index)
        seen = {}
        for mutant in self.mutants:
            seen[mutant.place] = seen.get(mutant.place, 0) + 1
            key = "\n".join((*mutant.place, str(seen[mutant.place])))
            mutant.id = hashlib.sha1(key.encode()).hexdigest()[:8]
        return self.mutants

    def _add(self, operator, index, *edits):
        source = self.source
        text, first, last = source.text, min(e[0] for e in edits), max(e[1] for e in edits)
        start, end = source.span(first, last)
        changed, shift = text, 0
        for begin, finish, new in sorted(edits):
            # What vanishes leaves its line breaks, so that the lines behind it keep their numbers.
            new += "\n" * (text.count("\n", begin, finish) - new.count("\n"))
            changed = changed[: begin + shift] + new + changed[finish + shift :]
            shift += len(new) - (finish - begin)
        mutant = Mutant(source.path, source.function[index], operator, source.line(first), folded(text[start:end]),
                        folded(changed[start : end + shift]), changed)
        if mutant.before != mutant.after:
            self.mutants.append(mutant)

    def _replace(self, operator, index, new):
        token = self.tokens[index]
        self._add(operator, index, (token.start, token.end, new))

    # ---- one token -------------------------------------------------------------------------------------------

    def _mark(self, index, token):
        text = token.text
        if text in ("++", "--"):
            self._replace("arithmetic", index, ARITHMETIC[text])
        elif text == "?":
            self._ternary(index)
        elif text in ("!", "~") or (text == "-" and self._is_unary(index)):
            if self.source.in_code(index) or text == "-":
                self._replace("negation", index, "")
        elif self.source.is_spaced(index):
            for operator, table in (("relational", RELATIONAL), ("bound", BOUND), ("logical", LOGICAL),
                                    ("arithmetic", ARITHMETIC)):
                if text in table:
                    self._replace(operator, index, table[text])

    def _number(self, index, token):
        digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F]+|\d+)([uUlL]*)", token.text.replace("'", "")).groups()
        is_fraction = index > 0 and self.tokens[index - 1].text == "."
        is_octal = digits.isdecimal() and digits[0] == "0" and not is_fraction
        value = int(digits, 8 if is_octal else 10 if is_fraction else 0)
        form = "0{:o}" if is_octal and value else "0x{:X}" if digits[:2].lower() == "0x" else "{}"
        for new in [value + 1] if self.is_table else sorted({value + 1, value - 1, 0} - {value, -1}):
            self._replace("constant", index, form.format(new) + suffix)

    def _character(self, index, token):
        plain = token.text[1:-1]
        if len(plain) == 1:
            following = chr(ord(plain) + 1)
            self._replace("constant", index, f"'{following}'" if following not in "'\\" else "'~'")
        else:
            self._replace("constant", index, "'~'")

    def _string(self, index, token):
        if index and self.tokens[index - 1].text == "extern":
            return
        content = token.text[1:-1]
        fixed = set()
        for match in CONVERSION.finditer(content):
            fixed.update(range(match.start(), match.end()))
        for position, letter in enumerate(content):
            if position not in fixed and letter.isascii() and letter.isalpha():
                following = {"z": "a", "Z": "A"}.get(letter, chr(ord(letter) + 1))
                self._replace("message", index, f'"{content[:position]}{following}{content[position + 1:]}"')
                return
        self._replace("message", index, f'"~{content}"')

    def _name(self, index, token):
        text = token.text
        if text in ("true", "false"):
            self._replace("constant", index, "false" if text == "true" else "true")
        elif text in JUMP:
            self._replace("jump", index, JUMP[text])
        elif text == "if":
            self._condition(index)
        elif text == "return":
            self._return(index)
        elif text in self.siblings and (self.source.in_code(index) or self._is_handler(index)):
            self._replace("name", index, self.siblings[text])

    # ---- several tokens --------------------------------------------------------------------------------------

    def _condition(self, index):
        opening = index + 1
        closing = self.source.match[opening]
        start, end = self.tokens[opening].end, self.tokens[closing].start
        self._add("condition", index, (start, start, "!("), (end, end, ")"))

    def _ternary(self, index):
        first = index
        while self.tokens[first - 1].text not in CONDITION_STARTS:
            first -= 1
            opening = [o for o, c in self.source.match.items() if c == first]
            first = opening[0] if opening else first
        start, end = self.tokens[first].start, self.tokens[index - 1].end
        self._add("condition", index, (start, start, "!("), (end, end, ")"))

    def _return(self, index):
        end = self.source.statement_end(index)
        if end is None:
            return
        if end == index + 1:
            self._add("return", index, (self.tokens[index].start, self.tokens[index].end, ""))
            return
        start, finish = self.tokens[index + 1].start, self.tokens[end].start
        value = self.source.text[start:finish]
        if value in ZERO_RESULTS:
            return
        self._add("return", index, (start, finish, "-1" if value == "SNS_SUCCESS" else "{}"))

    def _begins_statement(self, index):
        token, before = self.tokens[index], self.tokens[index - 1].text
        if before not in (";", "{", "}", "else") or self.source.inside[index] != "{" or token.text in NOT_A_STATEMENT:
            return False
        return token.kind == "name" or token.text in ("++", "--", "*")

    def _statement(self, index):
        end = self.source.statement_end(index)
        if end is None:
            return
        start, finish = self.tokens[index].start, self.tokens[end].start
        text = folded(self.source.text[start:finish])
        if DECLARATION.match(text + ";"):
            return
        self._add("call" if text.endswith(")") and " = " not in text.split("(")[0] else "assignment", index,
                  (start, finish, ""))

    def _is_unary(self, index):
        return self.tokens[index - 1].text in UNARY_AFTER

    def _is_handler(self, index):
        return self.is_table and self.tokens[index + 1].text == ")"

    def _inside_static_asserts(self):
        skipped = set()
        for index, token in enumerate(self.tokens):
            if token.text in ("static_assert", "__attribute__"):
                skipped.update(range(index, self.source.match[index + 1] + 1))
        return skipped


def sibling_names(sources):
    """For each enumerator, parameter and handler its neighbour in the same list: what a slip would write instead."""
    groups = []
    for source in sources:
        tokens = source.tokens
        for index, token in enumerate(tokens):
            if token.text == "enum":
                opening = next(i for i in range(index, len(tokens)) if tokens[i].text in "{;")
                end = source.match.get(opening, opening)
                groups.append([
                    tokens[i].text for i in range(opening + 1, end)
                    if tokens[i].kind == "name" and tokens[i - 1].text in ("{", ",")
                ])
        if source.path.endswith(".def"):
            rows = [[t.text for t in tokens[i : source.match[i + 1]] if t.kind == "name"]
                    for i, t in enumerate(tokens) if t.text in ("SNS_KEY", "SNS_STORED_KEY")]
            groups.append([row[1] for row in rows])
            groups.append([row[2] for row in rows if len(row) > 2])
            groups.append(sorted({row[3] for row in rows if len(row) > 3}))
    siblings = {}
    for group in groups:
        for name, following in zip(group, group[1:] + group[:1]):
            if name != following:
                siblings[name] = following
    return siblings

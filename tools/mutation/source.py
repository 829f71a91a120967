"""C++ text as tokens, as far as mutation needs it: what is code, where a statement ends, which function it is in."""

import re
from bisect import bisect_right
from dataclasses import dataclass

TOKEN = re.compile(
    r"""
    (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<string>"(?:\\.|[^"\\\n])*")
  | (?P<character>'(?:\\.|[^'\\\n])+')
  | (?P<number>0[xX][0-9a-fA-F]+[uUlL]*|\d+(?:'\d+)*[uUlL]*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<mark><<=|>>=|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\s\w])
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)
CLOSING = {"(": ")", "[": "]", "{": "}"}
TYPE_WORDS = {"struct", "class", "enum", "union"}
NO_FUNCTION = "-"


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


class Source:
    """One file: tokens without comments and preprocessor lines, and the scopes around them."""

    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.tokens = [
            Token(match.lastgroup, match.group(), match.start(), match.end())
            for match in TOKEN.finditer(text)
            if match.lastgroup not in ("comment", "directive")
        ]
        self.lines = [0] + [match.end() for match in re.finditer("\n", text)]
        self.match, self.inside = self._brackets()
        self.function = self._functions()

    def line(self, position):
        return bisect_right(self.lines, position)

    def span(self, start, end):
        """Start and end of the lines that hold the text from start to end."""
        first = self.lines[self.line(start) - 1]
        last = self.line(max(start, end - 1))
        return first, self.lines[last] - 1 if last < len(self.lines) else len(self.text)

    def is_spaced(self, index):
        """White space on both sides: a binary operator, and no bracket, pointer or reference of a type."""
        token = self.tokens[index]
        before = self.text[token.start - 1 : token.start]
        after = self.text[token.end : token.end + 1]
        return before.isspace() and after.isspace()

    def in_code(self, index):
        """Inside a function, where there are statements."""
        return self.function[index] != NO_FUNCTION and self._is_code[index]

    def statement_end(self, index):
        """Index of the ";" that ends the statement beginning at index, None if a block or the text's end comes first."""
        while index < len(self.tokens):
            text = self.tokens[index].text
            if text == ";":
                return index
            if text in ")]}":
                return None
            if text == "{" and self.tokens[index - 1].text == ")":
                return None
            index = self.match.get(index, index) + 1
        return None

    def _brackets(self):
        """For each opening bracket its closing one, and for each token the bracket around it."""
        match, stack, inside = {}, [], []
        for index, token in enumerate(self.tokens):
            if token.kind == "mark" and token.text in CLOSING.values() and stack:
                match[stack.pop()] = index
            inside.append(self.tokens[stack[-1]].text if stack else "")
            if token.kind == "mark" and token.text in CLOSING:
                stack.append(index)
        return match, inside

    def _functions(self):
        """The function or the constant that each token belongs to; NO_FUNCTION outside."""
        names = [NO_FUNCTION] * len(self.tokens)
        self._is_code = [False] * len(self.tokens)
        index = head = 0
        while index < len(self.tokens):
            text = self.tokens[index].text
            if text == ";" or text == "}":
                self._label(names, head, index, self._data_name(head, index))
                head = index + 1
            elif text == "{":
                heading = [token.text for token in self.tokens[head:index]]
                end = self.match.get(index, len(self.tokens) - 1)
                if "namespace" in heading or (TYPE_WORDS & set(heading) and ")" not in heading):
                    head = index + 1
                elif "(" in heading and "=" not in heading:
                    name = self._function_name(head, index)
                    self._label(names, head, end, name)
                    self._is_code[index : end + 1] = [True] * (end + 1 - index)
                    index, head = end, end + 1
                else:
                    index = end  # the values of a constant; its ";" follows
            elif text in ("(", "["):
                index = self.match.get(index, index)
            index += 1
        return names

    def _label(self, names, first, last, name):
        for index in range(first, min(last + 1, len(names))):
            names[index] = name

    def _function_name(self, first, last):
        index = first
        while index < last:
            text = self.tokens[index].text
            if text == "__attribute__":
                index = self.match[index + 1]
            elif text == "(":
                parts = []
                index -= 1
                while index >= first and (self.tokens[index].kind == "name" or self.tokens[index].text in ("::", "~")):
                    if parts and self.tokens[index].kind == "name" and parts[-1] not in ("::", "~"):
                        break
                    parts.append(self.tokens[index].text)
                    index -= 1
                return "".join(reversed(parts)) or NO_FUNCTION
            index += 1
        return NO_FUNCTION

    def _data_name(self, first, last):
        words = self.tokens[first:last]
        for before, token in zip(words, words[1:]):
            if before.kind == "name" and token.text in ("=", "[", "{"):
                return before.text
        return words[0].text if words and words[0].text.isupper() else NO_FUNCTION

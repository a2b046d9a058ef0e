"""What is wrong with an update, collected so that an operator sees all of it at once."""

SHOWN = 20


class Refused(Exception):
    """The update or the request breaks a rule; the text names the file, the line and the rule."""


class Problems:
    def __init__(self):
        self.texts = []

    def add(self, text):
        self.texts.append(text)

    def __bool__(self):
        return bool(self.texts)

    def shown(self):
        """The first problems, and how many more there are."""
        more = len(self.texts) - SHOWN
        return self.texts[:SHOWN] + ([f"... and {more:,} more"] if more > 0 else [])

    def raise_any(self):
        if self.texts:
            raise Refused("\n".join(self.shown()))

"""The allow list: digests and domains that are never published, whatever the sources say.

One per line; '#' begins a comment, and text after the first blank is ignored. Digests may be MD5, SHA-1 or SHA-256 (the
documents hold SHA-256 only). A domain stands for itself with and without "www.", as it does in the hosts file."""
import re

from .rules import is_block_domain

DIGEST = re.compile(rb"(?:[0-9A-Fa-f]{32}|[0-9A-Fa-f]{40}|[0-9A-Fa-f]{64})\Z")


def bare(domain):
    return domain[4:] if domain.startswith(b"www.") else domain


class AllowList:
    def __init__(self):
        self.digests = set()
        self.domains = set()

    def read(self, name, body, problems):
        for number, line in enumerate(body.split(b"\n"), 1):
            words = line.partition(b"#")[0].split()
            if not words:
                continue
            if DIGEST.match(words[0]):
                self.digests.add(words[0].lower())
            elif is_block_domain(words[0]):
                self.domains.add(bare(words[0].lower()))
            else:
                problems.add(f"{name}:{number}: neither a digest nor a domain")

    def __bool__(self):
        return bool(self.digests or self.domains)

    def without_digests(self, hashes):
        return hashes - self.digests if self.digests else hashes

    def without_domains(self, domains):
        return {domain: number for domain, number in domains.items() if bare(domain) not in self.domains}

// The public lists that are used while no update server is configured.
//
// Deployment configuration: replace these addresses with those of the agreed lists before shipping. The hosts
// below are reserved names that do not resolve, so an unconfigured build contacts no server, and its updates
// fail with the network's error text. Tests set an update server instead.
#pragma once

namespace korvel {

/// One list of SHA-256 digests in three parts, one digest per line, fetched in this order.
inline constexpr const char* kPublicHashLists[] = {
    "https://hashes.lists.invalid/sha256/full-list/aa",
    "https://hashes.lists.invalid/sha256/full-list/ab",
    "https://hashes.lists.invalid/sha256/full-list/ac",
};

/// One phishing domain per line.
inline constexpr const char* kPublicDomainList = "https://phishing.lists.invalid/v2/text";

}  // namespace korvel

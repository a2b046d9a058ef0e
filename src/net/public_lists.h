// The public lists that are used while no update server is configured.
//
// Deployment configuration: whoever ships the product puts the addresses of the lists it has agreed to use
// here. The hosts below are reserved names that resolve nowhere, so a build that has not been configured
// contacts nobody, and its updates fail with the network's own text. Tests set an update server instead.
#pragma once

namespace korvel {

/// One list of SHA-256 digests in three parts, one digest a line, fetched in this order.
inline constexpr const char* kPublicHashLists[] = {
    "https://hashes.lists.invalid/sha256/full-list/aa",
    "https://hashes.lists.invalid/sha256/full-list/ab",
    "https://hashes.lists.invalid/sha256/full-list/ac",
};

/// One phishing domain a line.
inline constexpr const char* kPublicDomainList = "https://phishing.lists.invalid/v2/text";

}  // namespace korvel

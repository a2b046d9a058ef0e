#include "korvelsig/table_difference.h"

#include <algorithm>

namespace korvel::sig {
namespace {

bool isSame(const SignatureFields& a, const SignatureFields& b) {
  return a.threatName == b.threatName && a.family == b.family && a.reference == b.reference &&
         a.severity == b.severity;
}

}  // namespace

void compareTables(const SignatureTable& older, const SignatureTable& newer,
                   const std::function<void(const EntryChange&)>& take) {
  SignatureCursor a(older);
  SignatureCursor b(newer);
  while (!a.atEnd() || !b.atEnd()) {
    const auto order = a.atEnd() ? std::strong_ordering::greater
                       : b.atEnd()
                           ? std::strong_ordering::less
                           : std::lexicographical_compare_three_way(a.digest().begin(), a.digest().end(),
                                                                    b.digest().begin(), b.digest().end());
    if (order < 0) {
      take({a.digest(), a.fields(), std::nullopt});
      a.next();
    } else if (order > 0) {
      take({b.digest(), std::nullopt, b.fields()});
      b.next();
    } else {
      if (!isSame(a.fields(), b.fields())) take({a.digest(), a.fields(), b.fields()});
      a.next();
      b.next();
    }
  }
}

}  // namespace korvel::sig

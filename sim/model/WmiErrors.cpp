#include "model/WmiErrors.h"

namespace qnsim {

WmiError InvalidClassError() {
    return {WmiError::Kind::InvalidClass, 0x80041010,
            "The specified class does not exist in the given namespace."};
}

WmiError InvalidQueryError() {
    return {WmiError::Kind::InvalidQuery, 0x80041017, "Invalid query"};
}

WmiError InvalidNamespaceError() {
    return {WmiError::Kind::InvalidNamespace, 0x8004100E, "Invalid namespace"};
}

WmiError NotFoundError() {
    return {WmiError::Kind::NotFound, 0x80041002, "Not found"};
}

WmiError InvalidSelectorsError() {
    return {WmiError::Kind::InvalidSelectors, 0x80338043, "The selectors for the resource are not valid."};
}

WmiError InvalidMethodError() {
    return {WmiError::Kind::InvalidMethod, 0x80041055, "Method not implemented"};
}

}  // namespace qnsim

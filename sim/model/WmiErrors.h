// The WMI errors the simulated repository reports, with Windows' codes and English messages.
#pragma once

#include <string>

#include "model/ComputerModel.h"

namespace qnsim {

WmiError InvalidClassError();
WmiError InvalidQueryError();
WmiError InvalidNamespaceError();
WmiError NotFoundError();
WmiError InvalidSelectorsError();
WmiError InvalidMethodError();

template <typename T>
Result<T> Failure(WmiError error) {
    Result<T> result;
    result.error = std::move(error);
    return result;
}

template <typename T>
Result<T> Success(T value) {
    Result<T> result;
    result.ok = true;
    result.value = std::move(value);
    return result;
}

}  // namespace qnsim

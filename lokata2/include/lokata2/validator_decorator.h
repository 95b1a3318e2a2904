#pragma once

#include <lokata2/validator.h>

namespace LK_2_13 {

/// The file checks in front of a validator: only a path that exists, is no directory, is a regular
/// file and can be opened for reading reaches it. Every search has one; clients may use it for
/// their own checks. Without a validator a usable file is `vrUndecided`.
class LOKATA2_EXPORT IValidatorCallbackDecorator : public IValidatorCallback, public ILKObject {
public:
    /// `userCallback` may be null, is not owned and must outlive the decorator.
    static ObjectPtr<IValidatorCallbackDecorator> create(IValidatorCallback* userCallback);
};

} // namespace LK_2_13

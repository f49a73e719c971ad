// Exception types of the component framework.
#pragma once

#include <string>

#include "ondrix/vec/exceptions.h"

namespace ondrix {

/// Base of every framework error; what() is the fixed message, unchanged.
/// Derived from the library's one root, ondrix::Exception, whose header is all inline: the
/// framework includes it without linking the vector library.
class EFrameworkError : public Exception {
public:
  using Exception::Exception;
};

/// An object cannot be assigned from another ("Cannot assign a X to a Y").
class EConvertError : public EFrameworkError {
public:
  using EFrameworkError::EFrameworkError;
};

/// A list index or count out of range ("List index out of bounds (i)").
class EListError : public EFrameworkError {
public:
  using EFrameworkError::EFrameworkError;
};

/// Misuse of a component: bad name, duplicate name, bad ownership change.
class EComponentError : public EFrameworkError {
public:
  using EFrameworkError::EFrameworkError;
};

/// A published property is unknown, read-only, or given a value of the wrong type.
class EPropertyError : public EFrameworkError {
public:
  using EFrameworkError::EFrameworkError;
};

/// Base of stream errors.
class EStreamError : public EFrameworkError {
public:
  using EFrameworkError::EFrameworkError;
};

/// A file could not be opened or created.
class EFileStreamError : public EStreamError {
public:
  using EStreamError::EStreamError;
};

/// A file could not be opened ("Cannot open file \"name\"").
class EFOpenError : public EFileStreamError {
public:
  using EFileStreamError::EFileStreamError;
};

/// A file could not be created ("Cannot create file \"name\"").
class EFCreateError : public EFileStreamError {
public:
  using EFileStreamError::EFileStreamError;
};

/// Errors of reading and writing settings and of the class registry.
class EFilerError : public EStreamError {
public:
  using EStreamError::EStreamError;
};

/// A short read ("Stream read error") or malformed settings data.
class EReadError : public EFilerError {
public:
  using EFilerError::EFilerError;
};

/// A short write ("Stream write error") or settings that cannot be written.
class EWriteError : public EFilerError {
public:
  using EFilerError::EFilerError;
};

/// A class name is not in the registry ("Class <name> not found").
class EClassNotFound : public EFilerError {
public:
  using EFilerError::EFilerError;
};

}  // namespace ondrix

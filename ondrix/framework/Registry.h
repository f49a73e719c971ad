// The class registry: classes that settings files may name, found by class name.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "ondrix/framework/ClassInfo.h"

namespace ondrix {

/// Registers a class under its name. Registering the same class again does nothing;
/// another class of the same name raises EFilerError "A class named <name> already exists".
void RegisterClass(const TClassInfo& Info);
/// Removes a class from the registry (nothing if it is not registered).
void UnRegisterClass(const TClassInfo& Info);
/// The registered class of that name; EClassNotFound "Class <name> not found" if absent.
const TClassInfo& FindClass(std::string_view ClassName);
/// The registered class of that name, or nullptr.
const TClassInfo* GetClass(std::string_view ClassName);

/// Every registered class, by name.
std::vector<const TClassInfo*> RegisteredClasses();

/// Creates a component (without owner) of a registered class. EClassNotFound for an
/// unknown name; EFilerError when the class cannot be created or is not a component.
std::unique_ptr<TComponent> CreateComponentByName(std::string_view ClassName);

}  // namespace ondrix

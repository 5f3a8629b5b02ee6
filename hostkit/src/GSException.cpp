// GSException.cpp: the host library's exception classes.
#include "hostkit/GSException.h"

#include <utility>

namespace GS {

GSException::GSException(std::string message) : message(std::move(message)) {}

const char* GSException::what() const noexcept { return message.c_str(); }

GeneralException::GeneralException(std::string message) : GSException(std::move(message)) {}

RunTimeErrorException::RunTimeErrorException(std::string message)
    : GeneralException(std::move(message)) {}

OutOfMemoryException::OutOfMemoryException(std::string message)
    : RunTimeErrorException(std::move(message)) {}

}  // namespace GS

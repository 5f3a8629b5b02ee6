// GSException.h: the host library's exception classes. Rooted in std::exception so that a host
// catching at its boundary sees them.
#pragma once

#include <exception>
#include <string>

namespace GS {

class GSException : public std::exception {
public:
    explicit GSException(std::string message = "GS::GSException");
    const char* what() const noexcept override;

private:
    std::string message;
};

class GeneralException : public GSException {
public:
    explicit GeneralException(std::string message = "GS::GeneralException");
};

class RunTimeErrorException : public GeneralException {
public:
    explicit RunTimeErrorException(std::string message = "GS::RunTimeErrorException");
};

class OutOfMemoryException : public RunTimeErrorException {
public:
    explicit OutOfMemoryException(std::string message = "GS::OutOfMemoryException");
};

}  // namespace GS

#pragma once

#include <exception>
#include <string>
#include <utility>

namespace qn::sys {

// The persistent tree's own failures: fixed texts and no further data.
class PersistException : public std::exception {
  public:
    const char* what() const noexcept override { return "Persistent tree failure"; }
};

class PersistNotFound : public PersistException {
  public:
    const char* what() const noexcept override { return "Persistent value not found"; }
};

class PersistBadLeaf : public PersistException {
  public:
    const char* what() const noexcept override { return "Persistent name is not a leaf"; }
};

class PersistBadFlags : public PersistException {
  public:
    const char* what() const noexcept override { return "PersistFlags not valid for operation"; }
};

class PersistBadAccess : public PersistException {
  public:
    const char* what() const noexcept override { return "Persistent access failure"; }
};

// The hive could not be replaced; the old file is whole. The text says why.
class PersistWriteFailed : public PersistException {
  public:
    explicit PersistWriteFailed(std::string reason) : m_reason(std::move(reason)) {}
    const char* what() const noexcept override { return m_reason.c_str(); }

  private:
    std::string m_reason;
};

}  // namespace qn::sys

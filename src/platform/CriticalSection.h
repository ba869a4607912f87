// A recursive lock with the semantics of a Windows critical section: the owning thread may enter again.
#pragma once

#include <memory>

namespace qn::platform {

class CriticalSection {
  public:
    CriticalSection();
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter();
    void Leave();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class CriticalSectionGuard {
  public:
    explicit CriticalSectionGuard(CriticalSection& section) : section_(section) { section_.Enter(); }
    ~CriticalSectionGuard() { section_.Leave(); }
    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

  private:
    CriticalSection& section_;
};

}  // namespace qn::platform

#pragma once

#include <string>

namespace qn::sys {

// Module name, instance name and parent of an object that logs or counts.
// Names are kept sanitised: anything but letters, digits and "_" becomes "_".
class Identity {
  public:
    Identity();
    Identity(const std::string& module, const std::string& instance, Identity* parent = nullptr);
    Identity(const std::string& module, Identity* parent);
    virtual ~Identity() = default;

    void setModule(const std::string& name);
    void setInstance(const std::string& name);
    void setParent(Identity* parent);

    const std::string& getModule() const { return m_module; }
    const std::string& getInstance() const { return m_instance; }
    Identity* getParent() const { return m_parent; }
    std::string fullName() const;

    static std::string sanitise(const std::string& name);

  private:
    std::string ownAddress() const;

    std::string m_module;
    std::string m_instance;
    Identity* m_parent;
};

// Texts of a possibly null identity; "(NULL)" for null.
std::string identityFullName(const Identity* identity);
std::string identityModule(const Identity* identity);
std::string identityInstance(const Identity* identity);

}  // namespace qn::sys

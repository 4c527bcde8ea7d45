// LoadPlace is where in its file a load stands. Readers of files are one while they work, so that handlers of
// reports can say which of many objects a warning is about; Serializer::GetPlace asks the innermost one.

#pragma once

#include <string>

namespace QBase
{

class LoadPlace
{
public:
    LoadPlace(const LoadPlace&) = delete;
    LoadPlace& operator=(const LoadPlace&) = delete;

    /// As people find it in the file; empty before the first object.
    virtual std::string Describe() const = 0;

    /// Of the load that runs on this stack; null when none does. Borrowed.
    static const LoadPlace* Current();

protected:
    LoadPlace();
    virtual ~LoadPlace();

private:
    const LoadPlace* mpOuter; // of a load in whose midst this one was started
};

} // namespace QBase

// Conform finds what a change of classes breaks: files that were saved before it, peers that were built
// before it, and callers that ask for things by name.
//
//     for (const Breach& breach : FindBreaches(then, now))
//         output.WriteLine(breach.mPlace + ": " + breach.mText);
//
// The rules are those by which the serializers pass over what they do not find, and by which two sides of a
// connection compare the classes that both have registered. The order of classes and members says nothing: in
// files things are found by name, and in which order classes are registered is up to each program.

#pragma once

#include <string>
#include <vector>

namespace Quirl
{

class Schema;

struct Breach
{
    enum Party
    {
        FILES,
        PEERS,
        CALLERS
    };

    Party mParty;
    std::string mPlace; // "module.class" or "module.class.member"
    std::string mText;
};

/// "files", "peers" or "callers".
const char* GetPartyName(Breach::Party party);

/// What breaks for whoever goes on from `then` to `now`, in the order of the classes' names.
std::vector<Breach> FindBreaches(const Schema& then, const Schema& now);

} // namespace Quirl

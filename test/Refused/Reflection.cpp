// Registrations that must not compile. Each condition names a case; the comment below it is the sentence with
// which the compiler refuses it. Without a case the file compiles.

#include "QBase/Reflection.h"

#include <string>

using namespace QBase;

class Refused : public Object
{
    QBASE_OBJECT(Refused, Object)

public:
    void Six(int, int, int, int, int, int) {}
    void TakesText(const std::string&) {}
    std::string GivesText() { return std::string(); }
    void Changes(int& r) { r = 0; }
    void TakesForeignPointer(int*) {}
    int GetLevel() const { return 0; }
    void SetLevel(int) {}
    void SetLevels(int, int) {}
    void SetName(const String&) {}

    std::string mText;
    Array<std::string> mTexts;
    int mInt = 0;
    enum class Wide : long long
    {
    } mWide{};

protected:
    explicit Refused(const Value& value) : Object(value) {}
};

QBASE_IMPLEMENT(Test, Refused)

struct Foreign
{
    int mInt = 0;
};

void Refused::Implement()
{
#if defined(SIX_ARGUMENTS)
    // A reflected function takes at most five arguments
    AddFunction<&Refused::Six>("Six");
#elif defined(FOREIGN_ARGUMENT)
    // A reflected function has an argument whose type no Value can carry
    AddFunction<&Refused::TakesText>("TakesText");
#elif defined(FOREIGN_POINTER)
    // A reflected function has an argument whose type no Value can carry
    AddFunction<&Refused::TakesForeignPointer>("TakesForeignPointer");
#elif defined(FOREIGN_RESULT)
    // A reflected function has a result whose type no Value can carry
    AddFunction<&Refused::GivesText>("GivesText");
#elif defined(MUTABLE_REFERENCE)
    // A reflected function takes its arguments by value or const reference
    AddFunction<&Refused::Changes>("Changes");
#elif defined(MEMBER_AS_FUNCTION)
    // AddFunction takes the address of a member function or of a static function
    AddFunction<&Refused::mInt>("Int");
#elif defined(FOREIGN_MEMBER)
    // A property is over a member whose type no Value can carry
    AddProperty<&Refused::mText>("Text");
#elif defined(WIDE_ENUMERATION)
    // A property is over a member whose type no Value can carry
    AddProperty<&Refused::mWide>("Wide");
#elif defined(WIDE_ENUMERATOR)
    // A Value carries enumerations of at most 32 bits
    const Value value = Wide();
#elif defined(FOREIGN_ELEMENTS)
    // An array property has elements whose type no Value can carry
    AddProperty<&Refused::mTexts>("Texts");
#elif defined(FOREIGN_GETTER)
    // AddProperty takes a member, a getter, or a getter and a setter
    AddProperty<&Refused::GivesText>("Text");
#elif defined(GETTER_WITH_ARGUMENT)
    // A property's getter is a member function without arguments whose result a Value can carry
    AddProperty<&Refused::SetLevel, &Refused::SetLevel>("Level");
#elif defined(SETTER_OF_TWO)
    // A property's setter is a member function with one argument that a Value can carry
    AddProperty<&Refused::GetLevel, &Refused::SetLevels>("Level");
#elif defined(TWO_TYPES)
    // A property's getter and setter are about the same type
    AddProperty<&Refused::GetLevel, &Refused::SetName>("Level");
#elif defined(FOREIGN_CONSTANT)
    // A constant has a type that no Value can carry
    AddConstant<Foreign{}>("Foreign");
#elif defined(NO_ENUMERATION)
    // AddEnum takes an enumeration
    AddEnum<int>("Int", {{"One", 1}});
#else
    AddFunction<&Refused::SetLevels>("SetLevels");
    AddProperty<&Refused::GetLevel, &Refused::SetLevel>("Level");
    AddProperty<&Refused::mInt>("Int");
#endif
}

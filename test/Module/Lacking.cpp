// A module that needs a symbol which nobody has.

extern "C" int QBaseTestSymbolThatNobodyHas();

extern "C" int QBaseTestNeedsASymbol()
{
    return QBaseTestSymbolThatNobodyHas();
}

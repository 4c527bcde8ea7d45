// A library that loads but registers nothing under its name.

extern "C" int QBaseTestSilence()
{
    return 0;
}

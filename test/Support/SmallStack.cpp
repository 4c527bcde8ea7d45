#include "Support/SmallStack.h"

#include <gtest/gtest.h>

#include <pthread.h>

namespace
{

void* Run(void* pWork)
{
    (*static_cast<const std::function<void()>*>(pWork))();
    return nullptr;
}

} // namespace

void RunOnSmallStack(std::size_t stackSize, const std::function<void()>& work)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stackSize), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, Run, const_cast<std::function<void()>*>(&work)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

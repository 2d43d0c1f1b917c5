// The library's typical road, walked end to end.
#include <cstdio>

int main()
{
    std::printf("KVDbase demo\n");
    return 0;
}

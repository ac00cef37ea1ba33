// bench/load/without_library.cpp: what a program costs that does nothing.
int main()
{
    return 0;
}

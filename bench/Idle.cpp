// What the start of contactmgr is compared with: a program with the same libraries.
int main()
{
    return 0;
}

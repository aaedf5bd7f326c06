// A library with static and thread-local objects, which tells of their end.
namespace {

void (*noteEnd)(int object) = nullptr;

struct Static {
    explicit Static(int objectNumber) : number(objectNumber) {}
    ~Static() {
        if (noteEnd != nullptr) noteEnd(number);
    }
    int number;
};
Static first(1);
Static second(2);
thread_local int counter = 100;

}  // namespace

extern "C" {
__declspec(dllexport) int Count() { return ++counter; }
__declspec(dllexport) int NoteEnds(void (*note)(int)) {
    static Static third(3);
    noteEnd = note;
    return first.number + second.number + third.number;
}
}

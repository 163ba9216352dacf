// Random object graphs tied into knots with RPLACA, RPLACD and SET-ARRAY, then printed in
// every style and destination and walked by the built-in functions that follow structure.
// The bytes choose the objects, the knots and the walks; the session text built from them
// runs from a fresh start with the prelude loaded. Printing must end, whatever the knots.
#include <cstdint>
#include <string>

#include "harness.h"

namespace {

// Takes the input a byte at a time; past its end every byte is 0.
class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  unsigned next(unsigned range) { return pos_ < size_ ? data_[pos_++] % range : 0; }
  bool done() const { return pos_ >= size_; }

 private:
  const uint8_t* data_;
  size_t size_, pos_ = 0;
};

// Helpers that knot only where the knot can be made, so the session rarely stops in the
// debug loop; INTO steps into a cons or an array.
const char kPrologue[] =
    "(setq f (open \"graph.txt\" :direction :output))\n"
    "(princ \"kept\" f)\n"
    "(defun knot-car (x y) (if (consp x) (rplaca x y)))\n"
    "(defun knot-cdr (x y) (if (consp x) (rplacd x y)))\n"
    "(defun knot-array (x) (if (consp x) (set-array x)))\n"
    "(defun into (x d) (cond ((consp x) (if (= d 0) (car x) (cdr x)))"
    " ((arrayp x) (if (= d 0) (array-car x) (array-cdr x))) (t x)))\n";

const char* const kObjects[] = {
    "(list 1 2 3)",
    "(list 'a)",
    "(cons 1 2.5)",
    "(coerce (list #\\a (code-char 34) #\\b) 'string)",
    "(make-array 2)",
    "(make-array '(2 2))",
    "(set-array (list nil 'all 1))",
    "(list \"s\" #\\c 1/2)",
};

std::string var(unsigned i) {
  return "v" + std::to_string(i);
}

// A place reached from a variable by a few steps into conses and arrays, mostly along cdrs
// (a car is often an atom, where no knot can be tied).
std::string place(Bytes& in, unsigned nodes, unsigned maxSteps) {
  std::string p = var(in.next(nodes));
  for (unsigned steps = in.next(maxSteps + 1); steps > 0; steps--) {
    p = "(into " + p + (in.next(3) ? " 1)" : " 0)");
  }
  return p;
}

// The knot ties a place to another place near the top of some object, so that most knots
// close a cycle or share a part.
std::string knot(Bytes& in, unsigned nodes) {
  switch (in.next(3)) {
    case 0:
      return "(knot-car " + place(in, nodes, 3) + " " + place(in, nodes, 1) + ")";
    case 1:
      return "(knot-cdr " + place(in, nodes, 3) + " " + place(in, nodes, 1) + ")";
    default:
      return "(knot-array " + place(in, nodes, 2) + ")";
  }
}

std::string walk(Bytes& in, unsigned nodes) {
  std::string a = place(in, nodes, 3);
  switch (in.next(13)) {
    case 0:
      return a;
    case 1:
      return "(print " + a + ")";
    case 2:
      return "(prin1 " + a + ")";
    case 3:
      return "(princ " + a + ")";
    case 4:
      return "(print " + a + " f)";
    case 5:
      return "(princ " + a + " f)";
    case 6:
      return "(prin1 " + a + " f)";
    case 7:
      return "(values " + a + " " + place(in, nodes, 3) + ")";
    case 8:
      return "(length " + a + ")";
    case 9:
      return "(equal " + a + " " + place(in, nodes, 3) + ")";
    case 10:
      return "(string-equal " + a + " " + place(in, nodes, 3) + ")";
    case 11:
      return "(intern " + a + ")";
    default:
      return "(list " + a + " " + place(in, nodes, 3) + ")";  // two roots sharing parts
  }
}

std::string session(Bytes& in) {
  std::string text = kPrologue;
  unsigned nodes = 2 + in.next(5);
  for (unsigned i = 0; i < nodes; i++) {
    text += "(setq " + var(i) + " " + kObjects[in.next(sizeof kObjects / sizeof *kObjects)] + ")\n";
  }
  for (unsigned k = 1 + in.next(12); k > 0; k--) text += knot(in, nodes) + "\n";
  // A walk that fails enters the debug loop, where the following walks go on.
  while (!in.done()) text += walk(in, nodes) + "\n";
  return text + "(close f)\n";
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::setUpInDirectory("tsumugi-graph-fuzz");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 256) return 0;  // a few dozen walks are enough for one graph
  Bytes in(data, size);
  static std::string text;  // kept out of the frame that the session's end jumps across
  text = session(in);
  fuzz::runSession(text.data(), text.size());
  return 0;
}

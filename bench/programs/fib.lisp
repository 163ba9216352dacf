;; Doubly recursive Fibonacci: function calls and integer arithmetic.
(defun fib (n) (if (< n 2) n (+ (fib (- n 1)) (fib (- n 2)))))
(let ((r (fib 30)))
  (princ "RESULT: ") (princ r) (terpri))

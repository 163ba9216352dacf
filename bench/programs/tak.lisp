;; Takeuchi's function: deep recursion with three arguments.
(defun tak (x y z)
  (if (not (< y x))
      z
      (tak (tak (- x 1) y z) (tak (- y 1) z x) (tak (- z 1) x y))))
(let ((r (tak 22 16 8)))
  (princ "RESULT: ") (princ r) (terpri))

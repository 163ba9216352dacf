;; Takeuchi's function on lists standing for numbers.
(defun listn (n) (if (= n 0) nil (cons n (listn (- n 1)))))
(defun tail (l) (if l (cdr l) nil))
(defun shorterp (x y) (and y (or (null x) (shorterp (tail x) (tail y)))))
(defun mas (x y z)
  (if (not (shorterp y x))
      z
      (mas (mas (tail x) y z) (mas (tail y) z x) (mas (tail z) x y))))
(let ((r (length (mas (listn 18) (listn 12) (listn 6)))))
  (princ "RESULT: ") (princ r) (terpri))

;; The number of solutions of the n-queens problem, with the board kept as a list.
(defun safe (row dist placed)
  (cond ((null placed) t)
        ((or (= (car placed) row) (= (car placed) (+ row dist)) (= (car placed) (- row dist))) nil)
        (t (safe row (+ dist 1) (cdr placed)))))
(defun try-rows (row n placed)
  (if (> row n)
      0
      (+ (if (safe row 1 placed) (queens n (cons row placed)) 0)
         (try-rows (+ row 1) n placed))))
(defun queens (n placed) (if (= (length placed) n) 1 (try-rows 1 n placed)))
(let ((r (queens 9 nil)))
  (princ "RESULT: ") (princ r) (terpri))

;; Millions of short-lived conses and integers: many collections.
(defun churn (n)
  (let ((s 0))
    (dotimes (i n) (setq s (+ s (length (list i i i)))))
    s))
(let ((r (churn 2000000)))
  (princ "RESULT: ") (princ r) (terpri))

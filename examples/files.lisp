(defparameter *stock*
  '((apples "Granny Smith" 12 1/2)
    (pears "Conference" 5 3/4)
    (plums "Victoria" 20 1/5)
    (melons "Galia" 2 3)))
(defparameter *library*
  '(";; Helpers for stock records: (name variety quantity unit-price)."
    "(defun line-value (record)"
    "  (* (third record) (fourth record)))  ; quantity times price"
    ""
    ";; The value of a whole list of records."
    "(defun stock-value (records)"
    "  (if (null records)"
    "      0"
    "      (+ (line-value (car records)) (stock-value (cdr records)))))"))
(defun save-records (file records)
  (let ((stream (open file :direction :output)))
    (dolist (r records)
      (print r stream))
    (close stream)
    (length records)))
(defun read-all (file)
  (let ((stream (open file)) (forms nil) (form nil))
    (loop
      (setq form (read stream nil 'end-of-file))
      (if (eq form 'end-of-file)
          (return nil))
      (setq forms (cons form forms)))
    (close stream)
    (reverse forms)))
(defun write-lines (file lines)
  (let ((stream (open file :direction :output)))
    (dolist (line lines)
      (princ line stream)
      (terpri stream))
    (close stream)
    (length lines)))
(defun read-lines (file)
  (let ((stream (open file)) (lines nil) (done nil))
    (loop
      (if done (return nil))
      (multiple-value-bind (text last) (read-line stream)
        (if (not (and last (= (length text) 0)))
            (setq lines (cons text lines)))
        (setq done last)))
    (close stream)
    (reverse lines)))
(defun comment-line-p (line)
  (and (> (length line) 0) (char= (char line 0) #\;)))
(defun count-comment-lines (lines)
  (let ((n 0))
    (dolist (line lines n)
      (if (comment-line-p line) (setq n (+ n 1))))))
(save-records "stock.dat" *stock*)
(setq *loaded* (read-all "stock.dat"))
(equal *loaded* *stock*)
(eq (car *loaded*) (car *stock*))
(with-open-file (s "stock.dat") (read s))
(write-lines "stock-lib.lisp" *library*)
(equal (read-lines "stock-lib.lisp") *library*)
(count-comment-lines (read-lines "stock-lib.lisp"))
(load "stock-lib.lisp")
(mapcar #'line-value *loaded*)
(stock-value *loaded*)

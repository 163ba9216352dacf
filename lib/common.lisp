;;; common.lisp -- operators that Common Lisp programs often use and that this dialect
;;; does not build in. Load it with (load "common.lisp"), giving the path where it is
;;; installed, for example (load "/usr/local/share/tsumugi/common.lisp").
;;;
;;; Everything here is written in the dialect itself. Names ending in "$" are helpers.
;;; Lambda lists know only required parameters and &rest, so optional arguments are taken
;;; from a &rest list. The macros that update a place (INCF, DECF, PUSH, POP) expand into
;;; SETF and evaluate the place's subforms more than once.

;; (when test form...) evaluates the forms when test is true; NIL otherwise.
(defmacro when (test &rest body)
  `(if ,test (progn ,@body) nil))

;; (unless test form...) evaluates the forms when test is false; NIL otherwise.
(defmacro unless (test &rest body)
  `(if ,test nil (progn ,@body)))

;; (incf place [delta]) adds delta (1 when left out) to place and gives the new value.
(defmacro incf (place &rest delta)
  `(setf ,place (+ ,place ,(if delta (car delta) 1))))

;; (decf place [delta]) subtracts delta (1 when left out) and gives the new value.
(defmacro decf (place &rest delta)
  `(setf ,place (- ,place ,(if delta (car delta) 1))))

;; (push item place) puts item in front of the list in place and gives the new list.
(defmacro push (item place)
  `(setf ,place (cons ,item ,place)))

;; (pop place) gives the first element of the list in place and leaves the rest there;
;; an empty list gives NIL (CAR of NIL is an error in this dialect).
(defmacro pop (place)
  `(if (consp ,place) (prog1 (car ,place) (setf ,place (cdr ,place))) nil))

;; (abs x): the magnitude of a number. Note that (- x) is x itself in this dialect.
(defun abs (x)
  (if (minusp x) (- 0 x) x))

;; (max x y...) and (min x y...): the greatest and the least of their arguments; the first
;; of equal ones.
(defun max (x &rest more)
  (extreme$ #'> x more))

(defun min (x &rest more)
  (extreme$ #'< x more))

(defun extreme$ (better best rest)
  (loop
    (if (null rest) (return best))
    (if (funcall better (car rest) best) (setq best (car rest)))
    (setq rest (cdr rest))))

;; (reduce fn list [:initial-value v]) combines the elements from the left:
;; (fn (fn (fn v e1) e2) e3). Without an initial value the first element starts; an empty
;; list gives (fn).
(defun reduce (fn lst &rest options)
  (cond
    ((and options (eq (car options) :initial-value))
     (reduce$ fn (car (cdr options)) lst))
    ((null lst) (funcall fn))
    (t (reduce$ fn (car lst) (cdr lst)))))

(defun reduce$ (fn acc lst)
  (loop
    (if (null lst) (return acc))
    (setq acc (funcall fn acc (car lst)))
    (setq lst (cdr lst))))

;; (remove-if test list) and (remove-if-not test list): a new list without the elements
;; for which test is true (false), in their order; the given list is left as it was.
(defun remove-if (test lst)
  (keep$ test lst t))

(defun remove-if-not (test lst)
  (keep$ test lst nil))

;; Keeps the elements whose (null (test x)) is keep-when; builds the copy front to back.
(defun keep$ (test lst keep-when)
  (let ((head (list nil)) (tail nil))
    (setq tail head)
    (loop
      (if (null lst) (return (cdr head)))
      (if (eq (null (funcall test (car lst))) keep-when)
          (progn (rplacd tail (list (car lst))) (setq tail (cdr tail))))
      (setq lst (cdr lst)))))

;; (find-if test list): the first element for which test is true, or NIL.
(defun find-if (test lst)
  (loop
    (if (null lst) (return nil))
    (if (funcall test (car lst)) (return (car lst)))
    (setq lst (cdr lst))))

;; (every test list): T when test is true for every element (also for an empty list).
(defun every (test lst)
  (loop
    (if (null lst) (return t))
    (if (null (funcall test (car lst))) (return nil))
    (setq lst (cdr lst))))

;; (some test list): the first true value of test on the elements, or NIL.
(defun some (test lst)
  (let ((v nil))
    (loop
      (if (null lst) (return nil))
      (setq v (funcall test (car lst)))
      (if v (return v))
      (setq lst (cdr lst)))))

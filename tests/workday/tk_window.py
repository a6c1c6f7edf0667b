# A program run by an interpreter, as many desktop programs are: one Tk window of the given class and title.
# Prints "window" once the window is mapped; ends with its standard input.
import sys
import tkinter

root = tkinter.Tk(className=sys.argv[1])
root.title(sys.argv[2])
root.geometry("320x200")
root.createfilehandler(sys.stdin, tkinter.READABLE, lambda *_: sys.stdin.read() or root.destroy())
root.wait_visibility()
print("window", flush=True)
root.mainloop()

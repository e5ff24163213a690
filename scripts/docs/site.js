// Formulas: arithmatex leaves them as text between \( \) or \[ \].
for (const element of document.querySelectorAll(".arithmatex"))
  katex.render(element.textContent.trim().slice(2, -2), element, {
    displayMode: element.textContent.trim().startsWith("\\["),
    throwOnError: true,
  });
